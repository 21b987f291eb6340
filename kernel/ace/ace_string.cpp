#include "ace/ace_string.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

#include "ace/ace_error.h"

namespace {

constexpr int DEFAULT_CAPACITY = 2000;
constexpr int MAX_PRINT = 10000;  // formatting buffer, terminator included
constexpr char ELLIPSIS[] = "...";

}  // namespace

AceString::AceString(int size) {
  if (size > 0) add_block(size);
}

void AceString::initial_block() {
  if (firstBlock == nullptr) add_block(DEFAULT_CAPACITY);
}

/// Links a block behind the last one; without a last one the text starts anew with it.
AceString::Block* AceString::add_block(char* text, int capacity, int used, bool borrowed) {
  Block* block = nullptr;
  malloc(block, 1);
  *block = {nullptr, text, capacity, used, 0, borrowed};
  if (lastBlock != nullptr) {
    lastBlock->nextBlock = block;
  } else {
    firstBlock = block;
    totalLen = 0;
  }
  lastBlock = block;
  totalLen += used;
  return block;
}

AceString::Block* AceString::add_block(int capacity) {
  char* text = nullptr;
  malloc(text, capacity + 1L);
  *text = '\0';
  return add_block(text, capacity, 0, false);
}

/// Whether `len` more bytes can be held at all; reports when not.
bool AceString::has_room_for(int len) const {
  if (len <= INT_MAX - totalLen) return true;
  return ace_error(__FILE__, __LINE__, "len <= INT_MAX - totalLen", len, 0, 0) != 0;
}

int AceString::append(const char* s, int len, int keep) {
  if (s == nullptr || len < 0) return -1;
  if (len > 0) return add_text(s, len, keep != 0);
  const std::size_t length = std::strlen(s);
  if (length > INT_MAX) return ace_error(__FILE__, __LINE__, "strlen(s) <= INT_MAX", -1, 0, -1);
  return length > 0 ? add_text(s, static_cast<int>(length), keep != 0) : totalLen;
}

int AceString::add_text(const char* s, int len, bool keep) {
  if (!has_room_for(len)) return -1;
  if (lastBlock == nullptr || len >= num_free(lastBlock)) {
    if (firstBlock == nullptr || len >= firstBlock->blockLen) {
      // A kept text is only ever read, see make_own.
      add_block(keep ? const_cast<char*>(s) : attach(s, len), len, len, keep);
      return totalLen;
    }
    add_block(firstBlock->blockLen);
  }
  std::memcpy(lastBlock->stringBuf + lastBlock->bytesUsed, s, static_cast<std::size_t>(len));
  claim(len);
  return totalLen;
}

int AceString::append(char c) {
  if (!has_room_for(1)) return -1;
  if (lastBlock == nullptr || num_free(lastBlock) < 2) add_block(DEFAULT_CAPACITY);
  lastBlock->stringBuf[lastBlock->bytesUsed] = c;
  claim(1);
  return totalLen;
}

/// The last block in the list, also where a prepend onto an empty string has left `lastBlock` unset.
AceString::Block* AceString::end_of(const AceString* text) {
  Block* block = text->lastBlock != nullptr ? text->lastBlock : text->firstBlock;
  while (block->nextBlock != nullptr) block = block->nextBlock;
  return block;
}

/// Takes the other string's memory and length; the caller links its blocks.
int AceString::take_over(AceString* other) {
  merge(other);
  totalLen += other->totalLen;
  other->totalLen = 0;
  other->firstBlock = other->lastBlock = nullptr;
  return totalLen;
}

int AceString::append(AceString* other) {
  if (other == nullptr || other == this || !has_room_for(other->totalLen)) return -1;
  if (other->firstBlock == nullptr) return totalLen;
  if (lastBlock != nullptr) {
    lastBlock->nextBlock = other->firstBlock;
  } else {
    firstBlock = other->firstBlock;
    totalLen = 0;
  }
  lastBlock = end_of(other);
  return take_over(other);
}

int AceString::prepend(AceString* other) {
  if (other == nullptr || other == this || !has_room_for(other->totalLen)) return -1;
  if (other->firstBlock == nullptr) return totalLen;
  end_of(other)->nextBlock = firstBlock;
  firstBlock = other->firstBlock;
  return take_over(other);
}

int AceString::print(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  const int total = vprint(fmt, args);
  va_end(args);
  return total;
}

int AceString::vprint(const char* fmt, va_list args) {
  char buf[MAX_PRINT];
  int len = std::vsnprintf(buf, sizeof buf, fmt, args);
  if (len < 0) return ace_error(__FILE__, __LINE__, "len = vsnprintf(buf,10000,format, ap)", len, 0, -1);
  if (len >= MAX_PRINT) {
    len = MAX_PRINT - 1;
    std::memcpy(buf + sizeof buf - sizeof ELLIPSIS, ELLIPSIS, sizeof ELLIPSIS);
  }
  return len > 0 ? add_text(buf, len, false) : totalLen;
}

int AceString::string(char* buf, int size) const {
  if (buf == nullptr || size < 1) return 0;
  int count = 0;
  for (const Block* block = firstBlock; block != nullptr; block = block->nextBlock) {
    const int part = std::min(block->bytesUsed, size - 1 - count);
    std::memcpy(buf + count, block->stringBuf, static_cast<std::size_t>(part));
    count += part;
  }
  buf[count] = '\0';
  return count;
}

char* AceString::string(AceAttach* at) const {
  char* text = nullptr;
  char* to = at->malloc(text, totalLen + 1L);
  for (const Block* block = firstBlock; block != nullptr; block = block->nextBlock)
    to = std::copy_n(block->stringBuf, block->bytesUsed, to);
  *to = '\0';
  return text;
}

char* AceString::reserve(int n) {
  if (n < 1) return nullptr;
  if (lastBlock == nullptr || num_free(lastBlock) < n) add_block(n);
  return lastBlock->stringBuf + lastBlock->bytesUsed;
}

char* AceString::get_buffer(int* n) {
  *n = lastBlock != nullptr ? num_free(lastBlock) : 0;
  return lastBlock != nullptr ? lastBlock->stringBuf + lastBlock->bytesUsed : nullptr;
}

int AceString::claim(int n) {
  if (n == 0) return 0;
  if (n < 0 || lastBlock == nullptr || n > num_free(lastBlock) || !has_room_for(n)) return -1;
  lastBlock->bytesUsed += n;
  lastBlock->stringBuf[lastBlock->bytesUsed] = '\0';
  totalLen += n;
  return 0;
}

int AceString::consume(int n) {
  if (n < 0 || n > totalLen) return -1;
  totalLen -= n;
  while (firstBlock != nullptr && n >= firstBlock->bytesUsed && firstBlock->nextBlock != nullptr) {
    n -= firstBlock->bytesUsed;
    firstBlock = firstBlock->nextBlock;
  }
  if (n == 0 || firstBlock == nullptr) return 0;
  Block* block = firstBlock;
  block->stringBuf += n;
  block->blockLen -= n;
  block->bytesUsed -= n;
  block->bytesGone += n;
  if (block->bytesUsed == 0 && !block->isBorrowed) {  // the room in front can be used again
    block->stringBuf -= block->bytesGone;
    block->blockLen += block->bytesGone;
    block->bytesGone = 0;
    *block->stringBuf = '\0';
  }
  return 0;
}

/// Replaces a borrowed text by a copy, so that a terminator can be written behind it.
void AceString::make_own(Block* block) {
  if (!block->isBorrowed) return;
  block->stringBuf = attach(block->stringBuf, block->bytesUsed);
  block->blockLen = block->bytesUsed;
  block->bytesGone = 0;
  block->isBorrowed = false;
}

int AceString::trim(int n) {
  if (n < 0 || n > totalLen) return -1;
  if (n == 0) return 0;
  totalLen -= n;
  int rest = totalLen;
  Block* block = firstBlock;
  for (; rest > block->bytesUsed; block = block->nextBlock) rest -= block->bytesUsed;
  block->bytesUsed = rest;
  make_own(block);
  block->stringBuf[rest] = '\0';
  block->nextBlock = nullptr;
  lastBlock = block;
  return 0;
}

char* AceString::clean() {
  if (firstBlock != nullptr && firstBlock->nextBlock == nullptr && !firstBlock->isBorrowed) {
    lastBlock = firstBlock;
    return firstBlock->stringBuf;
  }
  char* text = string(static_cast<AceAttach*>(this));
  const int length = totalLen;
  firstBlock = lastBlock = nullptr;
  add_block(text, length, length, false);
  return text;
}
