#pragma once
// In place of the header that macOS has by this name: as much of it as is used.

#include <stdint.h>

#define COPYFILE_DATA (1 << 3)
#define COPYFILE_METADATA (1 << 0 | 1 << 1 | 1 << 2)

typedef struct _copyfile_state *copyfile_state_t;

extern "C" int fcopyfile(int from, int to, copyfile_state_t state, uint32_t flags);
