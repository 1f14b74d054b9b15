find_package(Threads REQUIRED)

# Unicode and number parsing are linked into the server itself: it must start without a shared library of its own.
find_path(UTF8PROC_INCLUDE_DIR utf8proc.h REQUIRED)
find_library(UTF8PROC_LIBRARY NAMES libutf8proc.a REQUIRED)
add_library(utf8proc STATIC IMPORTED)
set_target_properties(utf8proc PROPERTIES
    IMPORTED_LOCATION ${UTF8PROC_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${UTF8PROC_INCLUDE_DIR}
    INTERFACE_COMPILE_DEFINITIONS UTF8PROC_STATIC)

find_path(FAST_FLOAT_INCLUDE_DIR fast_float/fast_float.h REQUIRED)
add_library(fast_float INTERFACE IMPORTED)
target_include_directories(fast_float SYSTEM INTERFACE ${FAST_FLOAT_INCLUDE_DIR})

if(VOSTEL_TESTS)
    find_package(GTest REQUIRED)
    find_package(nlohmann_json REQUIRED)
endif()
if(VOSTEL_BENCH)
    find_package(benchmark REQUIRED)
endif()
