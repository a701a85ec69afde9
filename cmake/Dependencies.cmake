# Every third-party library comes from the system (Debian packages).
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(Eigen3 3.3 REQUIRED NO_MODULE)
find_package(PNG REQUIRED)
find_package(ZLIB REQUIRED)

pkg_check_modules(ZSTD REQUIRED IMPORTED_TARGET libzstd)
pkg_check_modules(LZ4 REQUIRED IMPORTED_TARGET liblz4)
pkg_check_modules(XXHASH REQUIRED IMPORTED_TARGET libxxhash)

# stb ships its headers under include/stb; our image code compiles the
# decoders it needs itself, so only the include path is taken.
find_path(STB_INCLUDE_DIR stb_image.h PATH_SUFFIXES stb REQUIRED)
add_library(qx_dep_stb INTERFACE)
target_include_directories(qx_dep_stb SYSTEM INTERFACE ${STB_INCLUDE_DIR})

find_path(LODEPNG_INCLUDE_DIR lodepng.h REQUIRED)
find_library(LODEPNG_LIBRARY lodepng REQUIRED)
add_library(qx_dep_lodepng INTERFACE)
target_include_directories(qx_dep_lodepng SYSTEM INTERFACE ${LODEPNG_INCLUDE_DIR})
target_link_libraries(qx_dep_lodepng INTERFACE ${LODEPNG_LIBRARY})

find_package(CLI11 CONFIG REQUIRED)
