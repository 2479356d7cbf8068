# How every target of the tree is made, so that a room's CMakeLists.txt only lists what is its own.

option(QUARKSPINDLE_BENCHMARKS "Build the benchmarks" ON)
set(QUARKSPINDLE_SANITIZE "" CACHE STRING "Value for -fsanitize on every target, empty for none")
option(QUARKSPINDLE_FUZZ "Build the fuzz targets as fuzzers; they need clang" OFF)
option(QUARKSPINDLE_THREAD_SAFETY "Treat findings of clang's thread safety analysis as errors" OFF)
option(QUARKSPINDLE_PRECOMPILE_TESTS
  "Precompile GoogleTest for unit tests; it hides which of their includes are missing" OFF)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# Host and plug-in link the same static libraries and share none of their state: nothing may leak out of an image.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# Programs and the plug-in side by side, as they are when installed.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()
# Takes a quarter of the time of the default linker. What users run is linked as everything in Debian is.
find_program(LLD_PROGRAM ld.lld)
if(LLD_PROGRAM AND CMAKE_BUILD_TYPE STREQUAL Debug)
  add_link_options(-fuse-ld=lld)
endif()

find_package(Threads REQUIRED)

add_library(QuarkspindleOptions INTERFACE)
target_include_directories(QuarkspindleOptions INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(QuarkspindleOptions INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Wformat-security -Werror)
target_link_libraries(QuarkspindleOptions INTERFACE Threads::Threads)
if(QUARKSPINDLE_SANITIZE)
  target_compile_options(QuarkspindleOptions INTERFACE
    -fsanitize=${QUARKSPINDLE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(QuarkspindleOptions INTERFACE -fsanitize=${QUARKSPINDLE_SANITIZE})
endif()
if(QUARKSPINDLE_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL Clang)
  target_compile_options(QuarkspindleOptions INTERFACE
    "-fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/SanitizerIgnoreList.txt")
endif()
if(QUARKSPINDLE_THREAD_SAFETY)
  target_compile_options(QuarkspindleOptions INTERFACE -Wthread-safety -Werror=thread-safety)
endif()

# quarkspindle_library(NAME SOURCES file... [PUBLIC lib...] [PRIVATE lib...])
# A static library with the alias Quarkspindle::NAME. Without SOURCES: header only.
function(quarkspindle_library NAME)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;PUBLIC;PRIVATE")
  if(ARG_SOURCES)
    add_library(${NAME} STATIC ${ARG_SOURCES})
    target_link_libraries(${NAME} PUBLIC QuarkspindleOptions ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
  else()
    add_library(${NAME} INTERFACE)
    target_link_libraries(${NAME} INTERFACE QuarkspindleOptions ${ARG_PUBLIC})
  endif()
  add_library(Quarkspindle::${NAME} ALIAS ${NAME})
endfunction()

# quarkspindle_module(NAME SOURCES file... EXPORTS map [LIBRARIES lib...])
# NAME.so, which a program loads at run time, beside the programs. It exports what the version script names, and nothing
# else.
function(quarkspindle_module NAME)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "EXPORTS" "SOURCES;LIBRARIES")
  set(exports "${CMAKE_CURRENT_SOURCE_DIR}/${ARG_EXPORTS}")
  add_library(${NAME} MODULE ${ARG_SOURCES})
  target_link_libraries(${NAME} PRIVATE QuarkspindleOptions ${ARG_LIBRARIES})
  target_link_options(${NAME} PRIVATE "LINKER:--version-script=${exports}")
  if(NOT QUARKSPINDLE_SANITIZE)
    # The sanitizers' own names come from the program.
    target_link_options(${NAME} PRIVATE LINKER:--no-undefined)
  endif()
  set_target_properties(${NAME} PROPERTIES PREFIX "" LINK_DEPENDS "${exports}")
endfunction()

# quarkspindle_precompile_test(NAME)
# GoogleTest's headers, precompiled for the first test program and taken over by all others.
function(quarkspindle_precompile_test NAME)
  get_property(first GLOBAL PROPERTY QUARKSPINDLE_PRECOMPILED_TEST)
  if(first)
    target_precompile_headers(${NAME} REUSE_FROM ${first})
  else()
    target_precompile_headers(${NAME} PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
    set_property(GLOBAL PROPERTY QUARKSPINDLE_PRECOMPILED_TEST ${NAME})
  endif()
  # As Qt wants those that use it: the headers go with one kind of code only.
  target_compile_options(${NAME} PRIVATE -fPIC)
  if(CCACHE_PROGRAM)
    # What it wants, or such sources are compiled each time.
    set_target_properties(${NAME} PROPERTIES CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND};-E;env;CCACHE_SLOPPINESS=pch_defines,time_macros;${CCACHE_PROGRAM}")
    if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
      target_compile_options(${NAME} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
    else()
      target_compile_options(${NAME} PRIVATE -fpch-preprocess)
    endif()
  endif()
endfunction()

# Programs that draw run under it, as tests: on a display that nobody sees, with OpenGL in software.
set(QUARKSPINDLE_RUN_WITH_DISPLAY "${PROJECT_SOURCE_DIR}/tests/support/run-with-display")

# Of tests that take long: ctest begins with them, so that none is left alone at the end.
set(QUARKSPINDLE_LONG 10)

# quarkspindle_test(NAME SOURCES file... [LIBRARIES lib...] [LABEL unit|gui|integration] [TIMEOUT seconds]
#                   [LONG] [WIDGETS] [GL_VERSIONS version...])
# One GoogleTest program; each of its tests is one test of ctest. With the label gui it has a display and a
# QGuiApplication, with WIDGETS a QApplication and QTest; its tests run again with each version that OpenGL is told to
# claim, such as 3.3COMPAT.
function(quarkspindle_test NAME)
  if(NOT BUILD_TESTING)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 ARG "LONG;WIDGETS" "LABEL;TIMEOUT" "SOURCES;LIBRARIES;GL_VERSIONS")
  if(NOT ARG_LABEL)
    set(ARG_LABEL unit)
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set(cost 0)
  if(ARG_LONG)
    set(cost ${QUARKSPINDLE_LONG})
  endif()
  add_executable(${NAME} ${ARG_SOURCES} $<TARGET_OBJECTS:TestImage>)
  target_link_libraries(${NAME} PRIVATE
    QuarkspindleTestOptions ${ARG_LIBRARIES} GTest::gmock GTest::gtest GTest::gtest_main)
  if(ARG_LABEL STREQUAL unit)
    set_property(GLOBAL APPEND PROPERTY QUARKSPINDLE_UNIT_TESTS ${NAME})
    if(QUARKSPINDLE_PRECOMPILE_TESTS)
      quarkspindle_precompile_test(${NAME})
    endif()
  endif()
  if(ARG_LABEL STREQUAL gui)
    if(ARG_WIDGETS)
      target_sources(${NAME} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support/WidgetApplication.cpp")
      target_link_libraries(${NAME} PRIVATE Qt5::Widgets Qt5::Test)
    else()
      target_sources(${NAME} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support/GuiApplication.cpp")
      target_link_libraries(${NAME} PRIVATE Qt5::Gui)
    endif()
    set_target_properties(${NAME} PROPERTIES CROSSCOMPILING_EMULATOR "${QUARKSPINDLE_RUN_WITH_DISPLAY}")
  endif()
  gtest_discover_tests(${NAME}
    DISCOVERY_MODE PRE_TEST
    PROPERTIES LABELS ${ARG_LABEL} TIMEOUT ${ARG_TIMEOUT} COST ${cost})
  foreach(version IN LISTS ARG_GL_VERSIONS)
    gtest_discover_tests(${NAME}
      DISCOVERY_MODE PRE_TEST
      TEST_SUFFIX ".GL${version}"
      TEST_LIST ${NAME}_GL${version}
      PROPERTIES LABELS ${ARG_LABEL} TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT MESA_GL_VERSION_OVERRIDE=${version})
  endforeach()
endfunction()

# quarkspindle_benchmark(NAME SOURCES file... [LIBRARIES lib...] [DISPLAY] [TESTED regex])
# One Google Benchmark program, run once with the shortest time as a test so that it cannot rot; with a display when it
# draws. Where its inputs are large, TESTED says which of its benchmarks that test runs, or it asks
# tests/support/BenchmarkSize.h how large they are.
function(quarkspindle_benchmark NAME)
  if(NOT QUARKSPINDLE_BENCHMARKS)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 ARG "DISPLAY" "TESTED" "SOURCES;LIBRARIES")
  if(NOT ARG_TESTED)
    set(ARG_TESTED .)
  endif()
  add_executable(${NAME} ${ARG_SOURCES} $<TARGET_OBJECTS:TestImage>)
  if(ARG_DISPLAY)
    set_target_properties(${NAME} PROPERTIES CROSSCOMPILING_EMULATOR "${QUARKSPINDLE_RUN_WITH_DISPLAY}")
  endif()
  target_link_libraries(${NAME} PRIVATE
    QuarkspindleOptions ${ARG_LIBRARIES} benchmark::benchmark benchmark::benchmark_main)
  set_property(GLOBAL APPEND PROPERTY QUARKSPINDLE_BENCHMARK_PROGRAMS ${NAME})
  if(BUILD_TESTING)
    add_test(NAME ${NAME}.RunsOnce COMMAND ${NAME} --benchmark_min_time=0 "--benchmark_filter=${ARG_TESTED}")
    set_tests_properties(${NAME}.RunsOnce PROPERTIES
      LABELS integration TIMEOUT 300 COST ${QUARKSPINDLE_LONG} ENVIRONMENT QUARKSPINDLE_BENCHMARK_RUNS_ONCE=1)
  endif()
endfunction()

# quarkspindle_fuzz_target(NAME SOURCES file... CORPUS folder [LIBRARIES lib...])
# One reader of outside bytes under tests/support/FuzzTarget.h. In the preset fuzz the program is the fuzzer; in all
# others it takes each file of tests/corpus/CORPUS through the target, as one test.
function(quarkspindle_fuzz_target NAME)
  if(NOT BUILD_TESTING)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "CORPUS" "SOURCES;LIBRARIES")
  set(corpus "${PROJECT_SOURCE_DIR}/tests/corpus/${ARG_CORPUS}")
  add_executable(${NAME} ${ARG_SOURCES} $<TARGET_OBJECTS:FuzzSupport> $<TARGET_OBJECTS:TestImage>)
  target_link_libraries(${NAME} PRIVATE QuarkspindleOptions Quarkspindle::Utility ${ARG_LIBRARIES})
  if(QUARKSPINDLE_FUZZ)
    target_link_options(${NAME} PRIVATE -fsanitize=fuzzer)
    # For scripts/fuzz.
    file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/fuzz-targets/${NAME}" CONTENT "${corpus}\n")
  else()
    set_property(GLOBAL APPEND PROPERTY QUARKSPINDLE_UNIT_TESTS ${NAME})
    add_test(NAME ${NAME}.ReplaysItsCorpus COMMAND ${NAME} "${corpus}")
    set_tests_properties(${NAME}.ReplaysItsCorpus PROPERTIES LABELS unit TIMEOUT 600 COST ${QUARKSPINDLE_LONG})
  endif()
endfunction()
