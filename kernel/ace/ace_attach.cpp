#include "ace/ace_attach.h"

#include <cstring>

#include "ace/ace_admin.h"
#include "ace/ace_alloc.h"

namespace {

void* push(AceAttach* attach, AceMark* block) {
  block->memList = attach->memList;
  attach->memList = block;
  return block->use_mem();
}

/// Apart, so that the usual case calls nothing and saves no register.
[[gnu::noinline]] void* alloc_slowly(AceAttach* attach, VInt size) {
  return push(attach, thread_admin->get(static_cast<std::size_t>(size)));
}

}  // namespace

// A negative size becomes a huge unsigned one, which the administrator refuses.
void* AceAttach::alloc(VInt size) {
  AceMark* block = thread_admin->try_get(static_cast<std::size_t>(size));
  return block != nullptr ? push(this, block) : alloc_slowly(this, size);
}

void* AceAttach::calloc(VInt size) {
  return std::memset(alloc(size), 0, static_cast<std::size_t>(size));
}

void* AceAttach::alloc(AceHead* head) {
  return push(this, head->get());
}

void* AceAttach::calloc(AceHead* head) {
  return std::memset(alloc(head), 0, static_cast<std::size_t>(head->payload()));
}

char* AceAttach::attach(const char* text, VInt length) {
  if (text == nullptr) return nullptr;
  const VInt size = length < 0 ? static_cast<VInt>(std::strlen(text)) : length;
  if (size == std::numeric_limits<VInt>::max()) throw std::bad_alloc();
  char* copy = static_cast<char*>(alloc(size + 1));
  std::memcpy(copy, text, static_cast<std::size_t>(size));
  copy[size] = '\0';
  return copy;
}

char** AceAttach::attach_arr(const char* const* texts, int count, const int* lengths) {
  if (texts == nullptr || count < 0) return nullptr;
  AceAttach measureAt;
  if (lengths == nullptr) {
    int* measured = nullptr;
    measureAt.malloc(measured, count);
    for (int i = 0; i < count; ++i) {
      const std::size_t length = texts[i] != nullptr ? std::strlen(texts[i]) : 0;
      if (length > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
      measured[i] = static_cast<int>(length);
    }
    lengths = measured;
  }
  VInt total = count;  // the terminators
  for (int i = 0; i < count; ++i) total += texts[i] != nullptr && lengths[i] > 0 ? lengths[i] : 0;

  char* place = static_cast<char*>(alloc(total));
  char** copies = nullptr;
  malloc(copies, count);
  for (int i = 0; i < count; ++i) {
    const int length = texts[i] != nullptr && lengths[i] > 0 ? lengths[i] : 0;
    if (length > 0) std::memcpy(place, texts[i], static_cast<std::size_t>(length));
    copies[i] = place;
    place += length;
    *place++ = '\0';
  }
  return copies;
}

AceMark* AceAttach::mark() {
  AceMark* block = thread_admin->get(0);
  push(this, block);
  return block;
}

void AceAttach::acquire(AceAttach* other) {
  if (other == this) return;
  AceMark* block = other->memList;
  other->memList = nullptr;
  while (block != nullptr) {
    AceMark* next = block->memList;
    push(this, block);
    block = next;
  }
}

void AceAttach::release() {
  AceMark* blocks = memList;
  memList = nullptr;
  if (blocks != nullptr) thread_admin->mput(blocks, nullptr);
}

int AceAttach::release_between(AceMark* first, AceMark* last) {
  AceAttach* before = first != nullptr ? first : this;
  AceMark* blocks = before->memList;
  before->memList = last != nullptr ? last->memList : nullptr;
  thread_admin->mput(blocks, last);
  return 0;
}

AceMerge::AceMerge() : firstMark(mark()) {}

AceMerge::~AceMerge() {
  firstMark = nullptr;
  AceAttach::release();
}

void AceMerge::release() {
  AceAttach::release();
  firstMark = mark();
}

int AceMerge::merge(AceMerge* other) {
  if (other == this) return 0;
  AceMark* fresh = ace_alloc();  // before anything changes: it may throw
  firstMark->memList = other->memList;
  firstMark = other->firstMark;
  other->memList = fresh;
  other->firstMark = fresh;
  return 0;
}

void* operator new(std::size_t size, AceAttach* at) {
  return at != nullptr ? at->alloc(static_cast<VInt>(size)) : ace_alloc(size);
}

void operator delete(void* memory, AceAttach* at) noexcept {
  if (at == nullptr) ace_delete(memory);
}
