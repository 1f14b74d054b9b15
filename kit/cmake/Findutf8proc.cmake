# Finds utf8proc, which ships no CMake package of its own, and defines the target utf8proc::utf8proc.
# The static archive comes first: vostel-mcp starts faster without another shared library.
find_path(utf8proc_INCLUDE_DIR utf8proc.h)
find_library(utf8proc_LIBRARY NAMES libutf8proc.a utf8proc)
mark_as_advanced(utf8proc_INCLUDE_DIR utf8proc_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(utf8proc REQUIRED_VARS utf8proc_LIBRARY utf8proc_INCLUDE_DIR)

if(utf8proc_FOUND AND NOT TARGET utf8proc::utf8proc)
    # Global: the tests and the fuzzers use it too.
    add_library(utf8proc::utf8proc UNKNOWN IMPORTED GLOBAL)
    set_target_properties(utf8proc::utf8proc PROPERTIES
        IMPORTED_LOCATION ${utf8proc_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${utf8proc_INCLUDE_DIR})
endif()
