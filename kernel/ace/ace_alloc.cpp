#include "ace/ace_alloc.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "ace/ace_admin.h"
#include "ace/ace_thread.h"

namespace {

constinit ThreadAdminStack thread_admins;

/// Nested registrations of the calling thread; only the outermost takes and parks an administrator.
constinit thread_local int thread_registrations = 0;

AceMark* link_behind(AceMark* block, AceMark* after) {
  if (after != nullptr) {
    block->memList = after->memList;
    after->memList = block;
  }
  return block;
}

/// Apart, so that the usual case calls nothing and saves no register.
[[gnu::noinline]] void* alloc_slowly(std::size_t size) {
  return thread_admin->get(size)->use_mem();
}

void* filled(void* payload, int fill, std::size_t size) {
  return std::memset(payload, fill, size);
}

/// A block of the system heap to `size` payload bytes.
void* resize_system_block(AceMark* block, long size) {
  const auto bytes = static_cast<std::size_t>(size) + sizeof(AceMark);
  // The header is trivially relocatable: two pointers, one null, one the list's end.
  auto* moved = static_cast<AceMark*>(std::realloc(static_cast<void*>(block), bytes));
  return moved != nullptr ? moved->use_mem() : nullptr;
}

void* resize_chunk_block(AceMark* block, long size) {
  const AceHead* head = block->fromChunk->memHead;
  const bool hasClass = static_cast<std::size_t>(size) < thread_admin->numMapped;
  if (hasClass && thread_admin->sizeMap[size]->chopSize <= head->chopSize) {
    ace_unpoison(block->use_mem(), size);
    return block->use_mem();
  }
  void* moved = thread_admin->get(static_cast<std::size_t>(size))->use_mem();
  ace_unpoison(block->use_mem(), head->payload());
  std::memcpy(moved, block->use_mem(), static_cast<std::size_t>(std::min(size, head->payload())));
  thread_admin->put(block);
  return moved;
}

}  // namespace

int ace_alloc_init(int max_size) {
  thread_admin->init(max_size);
  return 0;
}

int ace_alloc_debug(int max_size) {
  thread_admin->debug(max_size);
  return 0;
}

long ace_alloc_warning(long size) {
  return thread_admin->warningSize = size;
}

int ace_alloc_show(AceReporter* rep) {
  thread_admin->show(rep);
  return 0;
}

int ace_alloc_clean() {
  thread_admin->clean();
  return 0;
}

int ace_set_array_mem_check(int value) {
  thread_admin->arrayMemCheck = value;
  return 0;
}
int ace_is_array_mem_check() {
  return thread_admin->arrayMemCheck;
}
int ace_set_type_mem_check(int value) {
  thread_admin->typeMemCheck = value;
  return 0;
}
int ace_is_type_mem_check() {
  return thread_admin->typeMemCheck;
}
int ace_alloc_check(void*) {
  return 1;
}

AceAdmin* ace_take_admin() {
  return thread_admins.take();
}

void ace_park_admin(AceAdmin* admin) {
  thread_admins.park(admin);
}

void ace_alloc_adopt(AceAdmin* admin) {
  thread_admin = admin;
  thread_registrations = 1;
}

int ace_alloc_thread_local() {
  if (thread_registrations == 0) thread_admin = thread_admins.take();
  ++thread_registrations;
  return 0;
}

int ace_alloc_terminate_thread() {
  if (thread_registrations == 0 || --thread_registrations > 0) return 0;
  AceAdmin* admin = thread_admin;
  if (ace_is_main_thread()) thread_admin = &global_admin;  // which serves it outside all registrations
  admin->reclaim_foreign();
  admin->clean();
  thread_admins.park(admin);
  return 0;
}

int ace_release_thread_local_mem() {
  thread_admins.tidy();
  return 0;
}

void* ace_alloc(std::size_t size) {
  AceMark* block = thread_admin->try_get(size);
  return block != nullptr ? block->use_mem() : alloc_slowly(size);
}

void* ace_alloc(std::size_t size, int fill) {
  return filled(ace_alloc(size), fill, size);
}

void* ace_alloc(std::size_t size, AceMark* after) {
  return link_behind(thread_admin->get(size), after)->use_mem();
}

void* ace_alloc(std::size_t size, AceMark* after, int fill) {
  return filled(ace_alloc(size, after), fill, size);
}

AceMark* ace_alloc() {
  return thread_admin->get(0);
}

AceMark* ace_alloc(AceMark* after) {
  return link_behind(thread_admin->get(0), after);
}

AceHead* ace_head(const char* name, long size) {
  if (size < 0 || size >= thread_admin->maxSize) return nullptr;
  const int chop = AceHead::get_chop(size);
  for (AceHead* head = thread_admin->allHeads; head != nullptr; head = head->next)
    if (head->chopSize == chop && std::strcmp(head->printName, name) == 0) return head;
  return thread_admin->add_head(name, size);
}

void* ace_alloc(AceHead* head) {
  return head->get()->use_mem();
}

void* ace_alloc(AceHead* head, int fill) {
  return filled(ace_alloc(head), fill, static_cast<std::size_t>(head->payload()));
}

void* ace_realloc(void* payload, long size) {
  if (size < 0 || size > std::numeric_limits<std::ptrdiff_t>::max() - static_cast<long>(sizeof(AceMark)))
    return nullptr;
  try {
    if (payload == nullptr) return ace_alloc(static_cast<std::size_t>(size));
    AceMark* block = AceMark::of(payload);
    if (block->memList != nullptr) return nullptr;
    return block->fromChunk == nullptr ? resize_system_block(block, size) : resize_chunk_block(block, size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void ace_delete(void* payload) {
  if (payload != nullptr) thread_admin->put(AceMark::of(payload));
}

void ace_delete(AceMark* from, AceMark* to) {
  if (from == nullptr) return;
  AceMark* rest = to != nullptr ? to->memList : nullptr;
  thread_admin->mput(from->memList, to);
  from->memList = rest;
}

void ace_move(AceMark* dest, AceMark* from, AceMark* to) {
  if (from == to || from->memList == nullptr) return;
  AceMark* first = from->memList;
  from->memList = to->memList;
  to->memList = dest->memList;
  dest->memList = first;
}
