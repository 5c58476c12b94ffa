# Libraries for the Windows cross build, prepared inside the build tree by scripts/windows-deps:
# the header-only ones through a staging directory of symlinks (never the host's /usr/include),
# libprotobuf built with mingw from Debian's source package.
set(HOPR_WINDOWS_DEPS "${CMAKE_BINARY_DIR}/deps" CACHE PATH "Output of scripts/windows-deps")
if(NOT EXISTS "${HOPR_WINDOWS_DEPS}/include/spdlog")
  message(FATAL_ERROR "Run scripts/windows-deps ${CMAKE_BINARY_DIR} first")
endif()

add_library(hopr_header_only INTERFACE)
target_include_directories(hopr_header_only SYSTEM INTERFACE "${HOPR_WINDOWS_DEPS}/include")
target_compile_definitions(hopr_header_only INTERFACE FMT_HEADER_ONLY)
foreach(alias CLI11::CLI11 fmt::fmt spdlog::spdlog nlohmann_json::nlohmann_json)
  add_library(${alias} ALIAS hopr_header_only)
endforeach()

execute_process(COMMAND protoc --version OUTPUT_VARIABLE HOPR_PROTOC_VERSION
                OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REGEX REPLACE "^libprotoc " "" HOPR_PROTOC_VERSION "${HOPR_PROTOC_VERSION}")
list(APPEND CMAKE_FIND_ROOT_PATH "${HOPR_WINDOWS_DEPS}/protobuf-${HOPR_PROTOC_VERSION}")
find_package(Protobuf REQUIRED)

# GCC's libbacktrace, built with mingw by scripts/windows-deps.
file(GLOB HOPR_LIBBACKTRACE_PREFIX "${HOPR_WINDOWS_DEPS}/libbacktrace-*/.complete")
if(NOT HOPR_LIBBACKTRACE_PREFIX)
  message(FATAL_ERROR "No libbacktrace in ${HOPR_WINDOWS_DEPS}: run scripts/windows-deps ${CMAKE_BINARY_DIR}")
endif()
get_filename_component(HOPR_LIBBACKTRACE_PREFIX "${HOPR_LIBBACKTRACE_PREFIX}" DIRECTORY)
set(HOPR_LIBBACKTRACE "${HOPR_LIBBACKTRACE_PREFIX}/lib/libbacktrace.a")
set(HOPR_LIBBACKTRACE_INCLUDE "${HOPR_LIBBACKTRACE_PREFIX}/include")

include(cmake/windows-manifest.cmake)

# The system libraries behind the platform seams.
set(HOPR_PLATFORM_LIBRARIES ws2_32 iphlpapi ntdll advapi32)
# Function names and line tables are all a stack trace reads: level 1 keeps hopr.exe at about
# 25 MB, where level 2 makes it 76 MB.
add_compile_options(-gdwarf-4 -g1)
