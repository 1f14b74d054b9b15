# A toolchain file that looks clang up. Homebrew's comes before Apple's, which has no fuzzer.
# Version 19 is tested. The name without a version comes last, because on Debian 12 it is clang 14.
find_program(VOSTEL_CLANG NAMES clang++-19 clang++-20 clang++-21 clang++-22 clang++
    HINTS /opt/homebrew/opt/llvm/bin /usr/local/opt/llvm/bin REQUIRED)
mark_as_advanced(VOSTEL_CLANG)
set(CMAKE_CXX_COMPILER ${VOSTEL_CLANG})
set(CMAKE_OBJCXX_COMPILER ${VOSTEL_CLANG})
