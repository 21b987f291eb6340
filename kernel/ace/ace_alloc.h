/// The allocator's free functions: configuration, free-standing blocks, lists of blocks.
///
/// They act on the calling thread's administrator (ace_admin.h). Before `ace_alloc_init` every request goes
/// to the system heap.
///
/// Errors: memory exhaustion throws `std::bad_alloc`; only `ace_realloc` answers null instead. Giving a block
/// back twice, or giving back one that is still in a list, is not detected.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceReporter;

/// Largest payload limit that `ace_alloc_init` takes; larger blocks would not fit into a chunk.
inline constexpr int ACE_MAX_CHUNK_PAYLOAD = 63976;

// Configuration. All return 0 unless said otherwise.

/// Switches chunk allocation on for payloads up to `max_size` bytes (at least 64, at most
/// `ACE_MAX_CHUNK_PAYLOAD`; values outside are moved to the nearer end). 0 or less switches it off; a later
/// positive value switches it on again with the first limit. Hosts call it once, with 2000.
SORV_API int ace_alloc_init(int max_size);
/// Gives each payload size from 1 to `max_size` that shares a class with the next larger size a class of its
/// own, so that statistics tell them apart.
SORV_API int ace_alloc_debug(int max_size);
/// Requests to the system heap above `size` bytes are reported as warnings; 0 switches that off.
/// Returns `size`.
SORV_API long ace_alloc_warning(long size);
/// Prints statistics of the calling thread's administrator.
SORV_API int ace_alloc_show(AceReporter* rep);
/// Gives chunks without a block in use back to the system.
SORV_API int ace_alloc_clean();
/// Two switches that are stored and reported back for debugging hosts; the allocator ignores them.
SORV_API int ace_set_array_mem_check(int value);
SORV_API int ace_is_array_mem_check();
SORV_API int ace_set_type_mem_check(int value);
SORV_API int ace_is_type_mem_check();
/// Always 1.
SORV_API int ace_alloc_check(void* block);

/// Gives the calling thread an administrator of its own. Called by `AceThreadSafe`; nested calls count.
SORV_API int ace_alloc_thread_local();
/// Parks the calling thread's administrator when the outermost registration ends. The thread must then not
/// allocate or free before `ace_alloc_thread_local`; the main thread goes back to the static administrator.
/// Called by `AceThreadSafe`.
SORV_API int ace_alloc_terminate_thread();
/// Tidies all parked administrators, and the static one while no thread has its own. The caller must be the
/// thread that uses the static administrator.
SORV_API int ace_release_thread_local_mem();

// Free-standing blocks: the result is the payload; the block is in no list unless a mark is given.

SORV_API void* ace_alloc(std::size_t size);
/// The first `size` payload bytes are set to the byte `fill`.
SORV_API void* ace_alloc(std::size_t size, int fill);
/// Linked directly behind `after`, when that is not null.
SORV_API void* ace_alloc(std::size_t size, AceMark* after);
SORV_API void* ace_alloc(std::size_t size, AceMark* after, int fill);
/// A mark: a header without payload. These two return the mark itself.
SORV_API AceMark* ace_alloc();
SORV_API AceMark* ace_alloc(AceMark* after);
/// A dedicated class for payloads of `size` bytes under `name` (kept by pointer): the existing one with the
/// same name and block size, or a new one. Null when `size` is negative or not below the limit.
/// The head belongs to the calling thread's administrator and is to be used by that thread alone.
SORV_API AceHead* ace_head(const char* name, long size);
SORV_API void* ace_alloc(AceHead* head);
/// The whole payload of the class is set to the byte `fill`.
SORV_API void* ace_alloc(AceHead* head, int fill);

/// Resizes a free-standing block; the contents are kept up to the smaller size. Null (and the block stays as
/// it is) when the block is in a list, when `size` is negative, or when memory is refused. Blocks from chunks
/// never shrink. The last block of a list looks free-standing: resizing it is not detected.
SORV_API void* ace_realloc(void* block, long size);
/// Gives back one free-standing block; null is ignored.
SORV_API void ace_delete(void* block);

// Lists of blocks.

/// Gives back every block behind `from` up to and including `to` (to the end if null); `from` stays.
SORV_API void ace_delete(AceMark* from, AceMark* to);
/// Moves the blocks behind `from` up to and including `to`, in their order, directly behind `dest`.
SORV_API void ace_move(AceMark* dest, AceMark* from, AceMark* to);
