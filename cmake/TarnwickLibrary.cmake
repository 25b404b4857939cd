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

# tarnwick_library(NAME SOURCES ... USES ... PRIVATE_USES ...)
# SOURCES are relative to the calling folder. USES are the libraries whose headers its own headers may include.
function(tarnwick_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES;PRIVATE_USES" ${ARGN})
  set(view ${CMAKE_BINARY_DIR}/include/${name})
  file(MAKE_DIRECTORY ${view})
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${name} ${view}/${name} SYMBOLIC)
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
