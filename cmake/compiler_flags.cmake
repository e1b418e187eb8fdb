# The compiler and linker flags of the program and of jsoncpp's archive. The program's warnings are in its CMakeLists.txt.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)
check_pie_supported()

add_compile_options(-fstack-protector-strong)
add_compile_definitions(_FILE_OFFSET_BITS=64 _GNU_SOURCE)
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,--as-needed)
# The program has one thread. Static objects without guards, and -O2, leave fewer symbols for the loader to resolve.
add_compile_options(-fno-threadsafe-statics)
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
if(CMAKE_BUILD_TYPE MATCHES "Rel")
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -ffunction-sections -fdata-sections)
  add_link_options(-Wl,--gc-sections)
  # Packed relocations shorten the start. glibc loads them since 2.36, so this checks the version of the build's libc.
  set(PACKED -Wl,-z,pack-relative-relocs)
  set(CMAKE_REQUIRED_LINK_OPTIONS ${PACKED})
  check_cxx_source_compiles("#include <features.h>
    #if !__GLIBC_PREREQ(2, 36)
    #error
    #endif
    int main() { return 0; }" MEDIASERV_PACKED_RELOCATIONS FAIL_REGEX "warning")
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
  if(MEDIASERV_PACKED_RELOCATIONS)
    add_link_options(${PACKED})
  endif()
endif()
