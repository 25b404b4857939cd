# The browser pages as a C++ source. Included, this file gives tarnwick_embed_pages; run as a script at build time, it
# writes the source:
#   cmake -DPAGES=<folder> -DICON=<file> -DCOMPOSED=<folder> -DOUTPUT=<source> -P EmbedPages.cmake
# A page is one .html. Each {{include NAME}} in it is replaced by that file of the pages' folder; what is included is not
# looked into for more.

# page, then the paths that it is served at
set(tarnwick_pages
  "host.html|/|/remote|/index.html"
  "cpu-steering.html|/cpu-steering"
  "cpu-monitor.html|/cpu-monitor"
  "plugin-browser.html|/plugin-browser-remote"
  "record.html|/record-remote"
  "playback.html|/playback-remote")

if(NOT CMAKE_SCRIPT_MODE_FILE)
  set(tarnwick_embed_pages_script ${CMAKE_CURRENT_LIST_FILE})

  # tarnwick_embed_pages(VARIABLE): sets VARIABLE to a source that implements remote/pages.h, for a target of the calling
  # folder. It is written anew when a page, a style, a script or the icon changes.
  function(tarnwick_embed_pages variable)
    set(pages ${CMAKE_SOURCE_DIR}/remote/pages)
    set(icon ${CMAKE_SOURCE_DIR}/app/windows/tarnwick.ico)
    set(output ${CMAKE_CURRENT_BINARY_DIR}/pages.cpp)
    file(GLOB parts CONFIGURE_DEPENDS ${pages}/*.html ${pages}/*.css ${pages}/*.js)
    add_custom_command(
      OUTPUT ${output}
      COMMAND ${CMAKE_COMMAND} -DPAGES=${pages} -DICON=${icon} -DCOMPOSED=${CMAKE_CURRENT_BINARY_DIR}/pages
              -DOUTPUT=${output} -P ${tarnwick_embed_pages_script}
      DEPENDS ${parts} ${icon} ${tarnwick_embed_pages_script}
      COMMENT "Embedding the browser pages"
      VERBATIM)
    set(${variable} ${output} PARENT_SCOPE)
  endfunction()
  return()
endif()

# The file's bytes as one string literal, a part for each of its lines; no byte can end or change the literal.
function(literal_of file variable)
  file(READ ${file} bytes HEX)
  string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
  string(REPLACE "\\x0a" "\\x0a\"\n    \"" bytes "${bytes}")
  set(${variable} "\"${bytes}\"" PARENT_SCOPE)
endfunction()

function(compose page variable)
  file(READ ${PAGES}/${page} text)
  while("${text}" MATCHES "{{include ([a-z_.-]+)}}")
    set(placeholder "${CMAKE_MATCH_0}")
    set(name "${CMAKE_MATCH_1}")
    file(READ ${PAGES}/${name} part)
    if("${part}" MATCHES "{{include ")
      message(FATAL_ERROR "${name} is included and may not include others")
    endif()
    string(REPLACE "${placeholder}" "${part}" text "${text}")
  endwhile()
  file(WRITE ${COMPOSED}/${page} "${text}")
  set(${variable} ${COMPOSED}/${page} PARENT_SCOPE)
endfunction()

set(constants "")
set(entries "")
foreach(line IN LISTS tarnwick_pages)
  string(REPLACE "|" ";" paths "${line}")
  list(POP_FRONT paths page)
  compose(${page} composed)
  literal_of(${composed} bytes)
  string(MAKE_C_IDENTIFIER "page_${page}" name)
  string(APPEND constants "constexpr char ${name}[] =\n    ${bytes};\n\n")
  foreach(path IN LISTS paths)
    string(APPEND entries "    {\"${path}\", {${name}, sizeof ${name} - 1}},\n")
  endforeach()
endforeach()
literal_of(${ICON} icon)

file(WRITE ${OUTPUT} "#include \"remote/pages.h\"

namespace tarnwick::remote {
namespace {

${constants}constexpr char program_icon[] =
    ${icon};

struct Page {
  std::string_view path;
  std::string_view html;
};

constexpr Page kPages[] = {
${entries}};

}  // namespace

std::string_view PageFor(std::string_view path) {
  for (const Page& page : kPages) {
    if (page.path == path) {
      return page.html;
    }
  }
  return {};
}

std::string_view ProgramIcon() { return {program_icon, sizeof program_icon - 1}; }

}  // namespace tarnwick::remote
")
