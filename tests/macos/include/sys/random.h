// The randomness of this system as macOS has it: no getrandom.
#pragma once

#include <cstddef>

extern "C" int getentropy(void* buffer, std::size_t size);
