# Every folder is a library that exposes only its own headers. A header is included by its path from the root
# ("engine/callback.h"), found through an include folder that holds one link to the one folder. A library that is not
# linked is therefore not found: the table of who may use whom is enforced by the compiler.

add_library(tarnwick_options INTERFACE)
target_compile_options(tarnwick_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
if(TARNWICK_SANITIZE)
  list(JOIN TARNWICK_SANITIZE "," sanitizers)
  target_compile_options(tarnwick_options INTERFACE
    -fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tarnwick_options INTERFACE -fsanitize=${sanitizers})
  if("thread" IN_LIST TARNWICK_SANITIZE)
    # GCC warns on every fence under this sanitizer; the code has none that order data on their own.
    target_compile_options(tarnwick_options INTERFACE -Wno-tsan)
  endif()
endif()

if(CMAKE_UNITY_BUILD)
  # Several files are compiled as one, which takes less than half the time. The preset linux-release compiles each alone.
  set(CMAKE_UNITY_BUILD_BATCH_SIZE 10)
  target_compile_options(tarnwick_options INTERFACE -Wno-subobject-linkage)  # asks who defines what in which file
endif()

# tarnwick_library(NAME [FOLDER folder] SOURCES ... USES ... PRIVATE_USES ... [WITHOUT subfolder ...])
# SOURCES are relative to the calling folder. USES are the libraries whose headers its own headers may include. FOLDER is
# the library's folder from the root, NAME when it is not given. A subfolder that is a library of its own is named in
# WITHOUT: who links the outer one does not see into it.
function(tarnwick_library name)
  cmake_parse_arguments(ARG "" "FOLDER" "SOURCES;USES;PRIVATE_USES;WITHOUT" ${ARGN})
  if(NOT ARG_FOLDER)
    set(ARG_FOLDER ${name})
  endif()
  set(view ${CMAKE_BINARY_DIR}/include/${name})
  if(ARG_WITHOUT)
    file(GLOB entries CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}/${ARG_FOLDER} ${CMAKE_SOURCE_DIR}/${ARG_FOLDER}/*)
    list(REMOVE_ITEM entries ${ARG_WITHOUT})
    file(REMOVE_RECURSE ${view})
    list(TRANSFORM entries PREPEND ${ARG_FOLDER}/ OUTPUT_VARIABLE linked)
  else()
    set(linked ${ARG_FOLDER})
  endif()
  foreach(entry IN LISTS linked)
    cmake_path(GET entry PARENT_PATH parent)
    file(MAKE_DIRECTORY ${view}/${parent})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${entry} ${view}/${entry} SYMBOLIC)
  endforeach()
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${view})
  target_link_libraries(${name} PUBLIC ${ARG_USES} PRIVATE ${ARG_PRIVATE_USES} tarnwick_options)
endfunction()

# tarnwick_test(NAME SOURCES ... USES ... [LABELS ...] [TIMEOUT seconds])
# One test program, registered as one CTest case; its own cases are counted by `./test`.
function(tarnwick_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;USES;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  # Tests are only to be built fast; what they test keeps the optimisation of its preset.
  target_compile_options(${name} PRIVATE -O0)
  target_link_libraries(${name} PRIVATE ${ARG_USES} GTest::gmock GTest::gtest_main Threads::Threads tarnwick_options)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  add_test(NAME ${name} COMMAND ${name} WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()
