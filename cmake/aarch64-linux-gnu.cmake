# Cross-compiling for linux-arm64 (aarch64 head units) with Debian's cross
# toolchain (g++-aarch64-linux-gnu): scripts/prebuild-arm64.sh.
#
#   cmake -S . -B build-arm64 --toolchain cmake/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Libraries and their headers come from the target's own tree only, so that
# nothing built for the build machine (libsystemd, Cyclone DDS) is linked in:
# what is missing there is left out, as on any machine without it. Programs
# (node, for the location of the Node-API headers, which are the same for
# every architecture) run here.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# nlohmann-json is headers only, the same for every architecture, and not in
# the target's tree: it is taken from the build machine through a folder that
# holds nothing else, since /usr/include itself on the include path would
# mix the build machine's C library headers into the target's.
set(_navinfo_headers_only ${CMAKE_BINARY_DIR}/headers-only)
if(NOT EXISTS ${_navinfo_headers_only}/share/cmake/nlohmann_json)
  file(MAKE_DIRECTORY ${_navinfo_headers_only}/include ${_navinfo_headers_only}/share/cmake)
  file(CREATE_LINK /usr/include/nlohmann ${_navinfo_headers_only}/include/nlohmann SYMBOLIC)
  file(CREATE_LINK /usr/share/cmake/nlohmann_json ${_navinfo_headers_only}/share/cmake/nlohmann_json SYMBOLIC)
endif()
set(nlohmann_json_DIR ${_navinfo_headers_only}/share/cmake/nlohmann_json CACHE PATH "nlohmann-json's CMake package")
