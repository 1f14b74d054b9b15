# How the project's own files are compiled. These options belong to our folders and not to a target, so that a project
# that links VostelMCPKit gets none of them. The presets for development turn warnings into errors.

# Includes are written from the root.
include_directories(${PROJECT_SOURCE_DIR})
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With optimisation or sanitizers, g++ 12 sees overlapping copies in its own string concatenation, and reads of the
    # alternatives that a variant does not hold. clang checks both.
    add_compile_options(-Wno-restrict -Wno-maybe-uninitialized)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND NOT APPLE)
    # libstdc++ 12's own stable_sort calls a function that C++17 deprecated.
    add_compile_options(-Wno-deprecated-declarations)
endif()
if(CMAKE_UNITY_BUILD)
    # In a batch each file sees the names of those before it, and g++ takes its files for headers.
    add_compile_options(-Wno-shadow $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND CMAKE_SYSTEM_NAME STREQUAL "Linux")
    # As Debian hardens its packages. script/check-hardening reads the result.
    add_compile_options(-fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    add_link_options(-Wl,-z,relro,-z,now)
endif()
if(VOSTEL_SANITIZE)
    add_compile_options(-fsanitize=${VOSTEL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${VOSTEL_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # The sanitizers' instrumentation hides initialisation from this flow analysis.
        add_compile_options(-Wno-stringop-overflow)
        # The checks are called instead of inlined, and the compiler collects garbage less often: a fifth less time.
        add_compile_options(--param=asan-instrumentation-with-call-threshold=0
            --param=ggc-min-expand=1000 --param=ggc-min-heapsize=1000000)
    endif()
    if(VOSTEL_SANITIZE MATCHES "thread,undefined")
        # This check probes memory through a pipe, which the thread sanitizer reports as a race.
        add_compile_options(-fno-sanitize=vptr)
    endif()
endif()
