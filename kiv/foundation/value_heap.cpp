#include "kiv/foundation/value_heap.hpp"

#include <cstdlib>
#include <new>

namespace kiv::detail {
namespace {

std::uint64_t read64(const unsigned char* p) noexcept {
  std::uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

std::uint64_t read32(const unsigned char* p) noexcept {
  std::uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// Multiplies to 128 bits and folds the halves together.
__extension__ using UInt128 = unsigned __int128;

std::uint64_t fold(std::uint64_t a, std::uint64_t b) noexcept {
  const UInt128 r = static_cast<UInt128>(a) * b;
  return static_cast<std::uint64_t>(r) ^ static_cast<std::uint64_t>(r >> 64);
}

constexpr std::uint64_t kP0 = 0xa0761d6478bd642fULL;
constexpr std::uint64_t kP1 = 0xe7037ed1a0b428dbULL;
constexpr std::uint64_t kP2 = 0x8ebc6af09c88c6e3ULL;

}  // namespace

// A multiply-fold hash: keys up to 16 bytes, the usual case, are read with at most four loads.
std::uint64_t hashBytes(const void* data, std::size_t size) noexcept {
  const auto* p = static_cast<const unsigned char*>(data);
  std::uint64_t seed = kP2 ^ size;
  std::uint64_t a = 0, b = 0;
  if (size <= 16) {
    if (size >= 4) {
      const std::size_t step = (size >> 3) << 2;
      a = (read32(p) << 32) | read32(p + step);
      b = (read32(p + size - 4) << 32) | read32(p + size - 4 - step);
    } else if (size > 0) {
      a = (std::uint64_t{p[0]} << 16) | (std::uint64_t{p[size >> 1]} << 8) | p[size - 1];
    }
  } else {
    std::size_t left = size;
    while (left > 16) {
      seed = fold(read64(p) ^ kP0, read64(p + 8) ^ seed);
      p += 16;
      left -= 16;
    }
    a = read64(p + left - 16);
    b = read64(p + left - 8);
  }
  return fold(kP1 ^ size, fold(a ^ kP0, b ^ seed));
}

#if defined(__SANITIZE_ADDRESS__)
#define KIV_CACHE_BLOCKS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KIV_CACHE_BLOCKS 0
#endif
#endif
#ifndef KIV_CACHE_BLOCKS
#define KIV_CACHE_BLOCKS 1
#endif

namespace {

constexpr std::size_t kClassBytes = 16;
constexpr std::size_t kClasses = kMaxCachedBlock / kClassBytes;

// The blocks a thread keeps: one list per size class, linked through each block's first word.
// Trivially destructible, so that it can be reached while the thread ends; `closed` is set once
// the thread's blocks have been given back, and later frees go to the C library.
struct ThreadBlocks {
  void* lists[kClasses + 1];
  std::size_t bytes;
  bool closed;
};
thread_local ThreadBlocks threadBlocks{};

// Gives every kept block back to the C library.
void releaseThreadBlocks() noexcept {
  for (void*& list : threadBlocks.lists) {
    while (list) std::free(std::exchange(list, *static_cast<void**>(list)));
  }
  threadBlocks.bytes = 0;
}

struct ThreadBlocksCloser {
  ~ThreadBlocksCloser() {
    releaseThreadBlocks();
    threadBlocks.closed = true;
  }
};
thread_local ThreadBlocksCloser threadBlocksCloser;

}  // namespace

Block allocateBlock(std::size_t bytes) {
  const std::size_t sizeClass = (bytes + kClassBytes - 1) / kClassBytes;
  if (sizeClass > kClasses) {
    void* memory = std::malloc(bytes);
    if (!memory) throw std::bad_alloc();
    return {memory, 0};
  }
  if (KIV_CACHE_BLOCKS) {
    if (void* block = threadBlocks.lists[sizeClass]) {
      threadBlocks.lists[sizeClass] = *static_cast<void**>(block);
      threadBlocks.bytes -= sizeClass * kClassBytes;
      return {block, static_cast<std::uint8_t>(sizeClass)};
    }
  }
  void* memory = std::malloc(sizeClass * kClassBytes);
  if (!memory) throw std::bad_alloc();
  return {memory, static_cast<std::uint8_t>(sizeClass)};
}

void freeBlock(void* memory, std::uint8_t sizeClass) noexcept {
  const std::size_t bytes = std::size_t{sizeClass} * kClassBytes;
  if (KIV_CACHE_BLOCKS && sizeClass != 0 && !threadBlocks.closed) {
    static_cast<void>(&threadBlocksCloser);  // gives the thread's blocks back when it ends
    // A full cache holds the blocks of earlier work: it starts again with the current one.
    if (threadBlocks.bytes + bytes > kThreadCacheBytes) releaseThreadBlocks();
    *static_cast<void**>(memory) = threadBlocks.lists[sizeClass];
    threadBlocks.lists[sizeClass] = memory;
    threadBlocks.bytes += bytes;
    return;
  }
  std::free(memory);
}

std::size_t threadCachedBytes() noexcept { return threadBlocks.bytes; }

const Value& absentValue() noexcept {
  static const Value absent;
  return absent;
}

}  // namespace kiv::detail
