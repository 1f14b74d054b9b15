# A toolchain file that finds clang. Homebrew's clang comes before Apple's, which has no fuzzer.
# Version 19 is tested. The name without a version comes last, because on Debian 12 it is clang 14.
find_program(VOSTEL_CLANG NAMES clang++-19 clang++-20 clang++-21 clang++-22 clang++
    HINTS /opt/homebrew/opt/llvm/bin /usr/local/opt/llvm/bin REQUIRED)
mark_as_advanced(VOSTEL_CLANG)
set(CMAKE_CXX_COMPILER ${VOSTEL_CLANG})
set(CMAKE_OBJCXX_COMPILER ${VOSTEL_CLANG})

# lld links a suite in a third of the time. script/setup installs it on Linux; macOS has a fast linker of its own.
get_filename_component(llvm_programs ${VOSTEL_CLANG} REALPATH)
get_filename_component(llvm_programs ${llvm_programs} DIRECTORY)
find_program(VOSTEL_LLD ld.lld HINTS ${llvm_programs})
mark_as_advanced(VOSTEL_LLD)
if(VOSTEL_LLD AND NOT CMAKE_HOST_APPLE)
    set(CMAKE_EXE_LINKER_FLAGS_INIT -fuse-ld=lld)
    set(CMAKE_MODULE_LINKER_FLAGS_INIT -fuse-ld=lld)
endif()
