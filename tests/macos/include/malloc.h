#error "macOS has no <malloc.h>"
