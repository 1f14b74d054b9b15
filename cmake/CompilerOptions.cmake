# How the project's own files are compiled. These options belong to our folders and not to a target, so that a project
# that links VostelMCPKit gets none of them. The presets for development turn warnings into errors.

# Includes are written from the root.
include_directories(${PROJECT_SOURCE_DIR})
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With optimisation or sanitizers, g++ 12 wrongly warns of overlapping copies in its own string concatenation, and of
    # reading alternatives that a variant does not hold. clang checks both without false warnings.
    add_compile_options(-Wno-restrict -Wno-maybe-uninitialized)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND NOT APPLE)
    # libstdc++ 12's own stable_sort calls a function that C++17 deprecated.
    add_compile_options(-Wno-deprecated-declarations)
endif()
if(CMAKE_UNITY_BUILD)
    # In a unity build, each file sees the names of the files before it, and g++ treats these files as headers.
    add_compile_options(-Wno-shadow $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND CMAKE_SYSTEM_NAME STREQUAL "Linux")
    # The options with which Debian hardens its packages. script/check-hardening checks the result.
    add_compile_options(-fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    add_link_options(-Wl,-z,relro,-z,now)
    include(CheckCXXCompilerFlag)
    # Control-flow protection of x86-64 and of ARM64. Each compiler accepts only the option of its processor.
    check_cxx_compiler_flag(-fcf-protection VOSTEL_CF_PROTECTION)
    check_cxx_compiler_flag(-mbranch-protection=standard VOSTEL_BRANCH_PROTECTION)
    if(VOSTEL_CF_PROTECTION)
        add_compile_options(-fcf-protection)
        # Debian 12's start-up code is not marked for a shadow stack, but works with one.
        add_link_options(-Wl,-z,shstk)
    elseif(VOSTEL_BRANCH_PROTECTION)
        add_compile_options(-mbranch-protection=standard)
    endif()
endif()
if(VOSTEL_SANITIZE)
    add_compile_options(-fsanitize=${VOSTEL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${VOSTEL_SANITIZE})
endif()
