# Header-only libraries, for this system and for cross-building alike: they are not built, so the copy that is installed
# here serves for every target. Only the library's own folder is put into the include path, by a link in the build tree;
# the include folder that it lies in stays out of a cross-build.

# tarnwick_header_only(TARGET FOLDER HEADER): an interface library TARGET. FOLDER is the library's folder in an include
# folder, HEADER a file in it by which it is found.
function(tarnwick_header_only target folder header)
  string(MAKE_C_IDENTIFIER "TARNWICK_${target}_INCLUDE" found)
  find_path(${found} ${folder}/${header} PATHS /usr/include /usr/local/include NO_CMAKE_FIND_ROOT_PATH)
  if(NOT ${found})
    message(FATAL_ERROR "${folder}/${header} is not installed; or set -D${found}=...")
  endif()
  mark_as_advanced(${found})
  set(view ${CMAKE_BINARY_DIR}/include/${folder})
  file(MAKE_DIRECTORY ${view})
  file(CREATE_LINK ${${found}}/${folder} ${view}/${folder} SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${view})
endfunction()
