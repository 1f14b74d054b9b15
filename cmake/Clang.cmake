# A toolchain file: takes a clang that knows the sanitizers and the fuzzer, which Apple's own does not have complete.
# Version 19 is the tested one. A name without version comes last, because Debian 12 gives it to clang 14.
find_program(VOSTEL_CLANG NAMES clang++-19 clang++-20 clang++-21 clang++-22 clang++
    HINTS /opt/homebrew/opt/llvm/bin /usr/local/opt/llvm/bin REQUIRED)
mark_as_advanced(VOSTEL_CLANG)
set(CMAKE_CXX_COMPILER ${VOSTEL_CLANG})
set(CMAKE_OBJCXX_COMPILER ${VOSTEL_CLANG})
