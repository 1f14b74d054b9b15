// The part of macOS's allocator that the server uses.
#pragma once

#include <cstddef>

struct malloc_zone_t;
extern "C" std::size_t malloc_zone_pressure_relief(malloc_zone_t* zone, std::size_t goal);
