// SPDX-License-Identifier: Apache-2.0
#include "wire/arena.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>

namespace qvp {
namespace {

constexpr size_t kAlignment = alignof(max_align_t);
constexpr size_t kLargestBlock = size_t{256} * 1024;
constexpr size_t kHead = (sizeof(void*) + kAlignment - 1) / kAlignment * kAlignment;

}  // namespace

Arena* Arena::create() noexcept {
  return new (std::nothrow) Arena;
}

void Arena::release() noexcept {
  if (--users_ > 0) return;
  while (blocks_ != nullptr) {
    Block* next = blocks_->next;
    free(blocks_);
    blocks_ = next;
  }
  delete this;
}

void* Arena::allocate(size_t bytes) noexcept {
  if (bytes > SIZE_MAX / 2) return nullptr;
  const size_t size = std::max((bytes + kAlignment - 1) / kAlignment * kAlignment, kAlignment);
  if (size > left_ && !grow(size)) return nullptr;
  char* piece = free_;
  free_ += size;
  left_ -= size;
  return piece;
}

char* Arena::copyText(const char* text, size_t length) noexcept {
  char* copy = static_cast<char*>(allocate(length + 1));
  if (copy == nullptr) return nullptr;
  memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

bool Arena::grow(size_t bytes) noexcept {
  const size_t size = std::max(bytes + kHead, nextSize_);
  auto* block = static_cast<Block*>(malloc(size));
  if (block == nullptr) return false;
  block->next = blocks_;
  blocks_ = block;
  free_ = reinterpret_cast<char*>(block) + kHead;
  left_ = size - kHead;
  nextSize_ = std::min(nextSize_ * 2, kLargestBlock);
  return true;
}

}  // namespace qvp
