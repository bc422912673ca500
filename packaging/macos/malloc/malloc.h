#pragma once
// In place of the header that macOS has by this name: as much of it as is used.

#include <stddef.h>

extern "C" size_t malloc_size(const void *memory);
