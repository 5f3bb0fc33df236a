// Renderer-owned memory for everything that crosses a renderer callback, tagged with the source
// name "mray" and the calling line, as the renderer's allocation macros do.
#pragma once

#include "mray/renderer_functions.h"

// Zero-filled renderer memory of `size` bytes; null only when the renderer lacks the allocator.
#define MRAY_ALLOCATE(size) MI_CALL(mi_mem_int_allocate, "mray", __LINE__, (miUint)(size))
// Zero-filled renderer memory, or null when it cannot be had.
#define MRAY_TEST_ALLOCATE(size) MI_CALL(mi_mem_int_test_allocate, "mray", __LINE__, (miUint)(size))
// A renderer-owned copy of a NUL-terminated string; null for null.
#define MRAY_STRDUP(text) MI_CALL(mi_mem_int_strdup, "mray", __LINE__, (text))
// Gives renderer memory back; null is ignored.
#define MRAY_RELEASE(memory) MI_CALL(mi_mem_int_release, "mray", __LINE__, (void*)(memory))
