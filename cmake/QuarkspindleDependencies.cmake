# The libraries the tree is built on; docs/dependencies.md says why each was chosen.

find_package(RapidJSON REQUIRED)
find_package(ZLIB REQUIRED)
find_package(zstd REQUIRED)
find_package(CLI11 REQUIRED)
find_package(Fontconfig REQUIRED)
find_package(Freetype REQUIRED)
set(OpenGL_GL_PREFERENCE GLVND)
find_package(OpenGL REQUIRED)
find_package(GLEW REQUIRED)
find_package(X11 REQUIRED)
find_package(Qt5 5.15 REQUIRED COMPONENTS Gui Widgets)

find_path(XXHASH_INCLUDE_DIR xxhash.h REQUIRED)
find_library(XXHASH_LIBRARY xxhash REQUIRED)
add_library(xxHash::xxhash UNKNOWN IMPORTED)
set_target_properties(xxHash::xxhash PROPERTIES
  IMPORTED_LOCATION "${XXHASH_LIBRARY}"
  INTERFACE_INCLUDE_DIRECTORIES "${XXHASH_INCLUDE_DIR}")

find_package(PkgConfig REQUIRED)
pkg_check_modules(libelf REQUIRED IMPORTED_TARGET libelf)
pkg_check_modules(libdw REQUIRED IMPORTED_TARGET libdw)
pkg_check_modules(libdebuginfod REQUIRED IMPORTED_TARGET libdebuginfod)
pkg_check_modules(capstone REQUIRED IMPORTED_TARGET capstone)
pkg_check_modules(nettle REQUIRED IMPORTED_TARGET nettle)
find_package(CURL REQUIRED)

# RapidJSON's package names its include directory only; as a system directory it keeps its warnings to itself.
add_library(RapidJSON::rapidjson INTERFACE IMPORTED)
target_include_directories(RapidJSON::rapidjson SYSTEM INTERFACE ${RAPIDJSON_INCLUDE_DIRS})

if(BUILD_TESTING)
  include(GoogleTest)
  find_package(GTest REQUIRED)
  find_package(Qt5 5.15 REQUIRED COMPONENTS Test)
endif()
if(QUARKSPINDLE_BENCHMARKS)
  find_package(benchmark REQUIRED)
endif()
