# Builds for macOS on Linux with clang and lld. macOS's C headers and libSystem's stub come from the package that
# `script/setup macos` unpacks. The C++ headers are libc++'s own. sdk/ declares the few other things that we use.
# CMAKE_OSX_ARCHITECTURES names the one architecture to build for, VOSTEL_MACOS_LIBCXX another libc++ to compile with.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_OSX_ARCHITECTURES})

set(llvm /usr/lib/llvm-19)
get_filename_component(project ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
set(fetched ${project}/build/macos-toolchain)

set(CMAKE_C_COMPILER ${llvm}/bin/clang)
set(CMAKE_CXX_COMPILER ${llvm}/bin/clang++)
set(CMAKE_OBJCXX_COMPILER ${llvm}/bin/clang++)
foreach(language C CXX OBJCXX)
    set(CMAKE_${language}_COMPILER_TARGET ${CMAKE_OSX_ARCHITECTURES}-apple-macosx)
endforeach()
set(CMAKE_AR ${llvm}/bin/llvm-ar)
set(CMAKE_RANLIB ${llvm}/bin/llvm-ranlib)
set(CMAKE_INSTALL_NAME_TOOL ${llvm}/bin/llvm-install-name-tool)

set(CMAKE_OSX_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/sdk)
# The folders of other libraries. They do not contain the headers of Linux.
set(CMAKE_FIND_ROOT_PATH ${fetched} ${fetched}/${CMAKE_OSX_ARCHITECTURES})
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(VOSTEL_MACOS_INCLUDES ${fetched}/include ${fetched}/include/multiarch)

string(REPLACE arm64 aarch64 processor ${CMAKE_OSX_ARCHITECTURES})
set(c_headers -nostdlibinc)
foreach(folder any-macos.13-any ${processor}-macos.13-none any-macos-any)
    string(APPEND c_headers " -isystem ${fetched}/lib/libc/include/${folder}")
endforeach()
string(APPEND c_headers " -iframework ${CMAKE_OSX_SYSROOT}/System/Library/Frameworks")
set(libcxx ${llvm}/include/c++/v1)
if(VOSTEL_MACOS_LIBCXX)
    set(libcxx ${fetched}/${VOSTEL_MACOS_LIBCXX})
    # An older libc++ treats features of later versions of macOS as unavailable in all versions.
    string(APPEND c_headers " -D_LIBCPP_DISABLE_AVAILABILITY")
endif()
set(cxx_headers "-nostdinc++ -isystem ${CMAKE_CURRENT_LIST_DIR}/libc++ -isystem ${libcxx}")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VOSTEL_MACOS_LIBCXX)
set(CMAKE_C_FLAGS_INIT "${c_headers}")
set(CMAKE_CXX_FLAGS_INIT "${cxx_headers} ${c_headers}")
set(CMAKE_OBJCXX_FLAGS_INIT "${cxx_headers} ${c_headers}")

# The linker removes debug information and local symbols. It adds an ad-hoc signature, which Macs with Apple's processors
# require. The distributor replaces that signature.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld -L${fetched}/lib -Wl,-S,-x,-adhoc_codesign")
