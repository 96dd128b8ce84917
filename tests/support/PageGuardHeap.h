#pragma once

// A heap in which overruns, uses after free, double frees and foreign pointers end the process at once, under malloc
// and free, operator new and delete of the program and of every DLL beside it.
//
// Each block lies against a page without access; a freed block loses its memory, and its addresses rest until gigabytes
// of others have been used. What an access trap cannot see, since blocks are aligned to at most 16 bytes, is seen when
// the block is freed: the bytes around it hold a pattern. Fresh memory is filled, so that nobody counts on zeros.
// What is wrong stands on stderr, with the size of the block and the offset:
//
//     page-guard heap: write at 16 bytes from the start of a block of 16 bytes: access past the end of a block
//
// The build option HSMBASE_PAGE_GUARD_HEAP (preset mingw-guarded) installs it in every test program. Without it a child
// process may do so for itself:
//
//     IC_CHILD(use_after_free) { f_installPageGuardHeap(); ... }
//
// It works by patching import tables: blocks from before it was there, and those that the run-time library makes
// inside, are recognised and handed on. With more than 20,000 blocks at a time the rest are ordinary ones.

// Once per process, before other threads run. Later calls take in modules that were loaded meanwhile.
void f_installPageGuardHeap();
bool f_isPageGuardHeapInstalled();
