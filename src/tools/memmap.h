// Process-wide registry of page-aligned /dev/mem mappings: a range already
// covered is handed out again with a reference count instead of a new map.
#pragma once

#include <cstdint>

namespace tav {

constexpr const char* kDevMem = "/dev/mem";

// Pointer to the byte at phys_addr, or null after printing why.
void* memmap(uint32_t phys_addr, uint32_t size);
// 0 when a reference was dropped, -1 when the address lies in no mapping.
int memunmap(const void* virt_addr);

// Forgets every mapping and the /dev/mem descriptor, as a new process would
// start; part of reset_process_state().
void memmap_reset();
// Number of registry nodes and the refcount of the node covering phys_addr.
int memmap_node_count();
uint32_t memmap_refcount(uint32_t phys_addr);

}  // namespace tav
