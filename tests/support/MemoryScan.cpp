#include "support/MemoryScan.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <sstream>

#include <malloc.h>

namespace Kelvar::Test {
namespace {

constexpr unsigned char kDisguise = 0xA5;

std::atomic<const HiddenText*> watched{nullptr};
std::atomic<std::size_t> foundInFreed{0};

void Wipe(std::string& text) {
  explicit_bzero(text.data(), text.size());
}

struct Range {
  const unsigned char* begin;
  const unsigned char* end;
};

std::vector<Range> WritableMemory() {
  std::vector<Range> ranges;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream fields(line);
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    char dash = 0;
    std::string rights;
    fields >> std::hex >> begin >> dash >> end >> rights;
    if (rights.rfind("rw", 0) == 0 && line.find("[v") == std::string::npos) {
      ranges.push_back({reinterpret_cast<const unsigned char*>(begin), reinterpret_cast<const unsigned char*>(end)});
    }
  }
  return ranges;
}

}  // namespace

HiddenText::HiddenText(std::string text) {
  for (const char c : text) {
    disguised_.push_back(static_cast<unsigned char>(c) ^ kDisguise);
  }
  Wipe(text);
}

std::string HiddenText::Reveal() const {
  std::string text;
  text.reserve(disguised_.size());
  for (const unsigned char c : disguised_) {
    text.push_back(static_cast<char>(c ^ kDisguise));
  }
  return text;
}

std::size_t HiddenText::CountInMemory() const {
  std::size_t count = 0;
  for (const Range& range : WritableMemory()) {
    count += CountIn(range.begin, range.end);
  }
  return count;
}

std::size_t HiddenText::CountIn(const unsigned char* begin, const unsigned char* end) const {
  std::size_t count = 0;
  for (const unsigned char* at = begin; at + disguised_.size() <= end; ++at) {
    std::size_t same = 0;
    while (same < disguised_.size() && (at[same] ^ kDisguise) == disguised_[same]) {
      ++same;
    }
    count += same == disguised_.size() ? 1U : 0U;
  }
  return count;
}

FreedBlockWatch::FreedBlockWatch(const HiddenText& text) {
  foundInFreed = 0;
  watched = &text;
}

FreedBlockWatch::~FreedBlockWatch() {
  watched = nullptr;
}

std::size_t FreedBlockWatch::Count() const {
  return foundInFreed;
}

void ScribbleOverFreedMemory() {
  std::vector<std::unique_ptr<char[]>> blocks;
  for (int round = 0; round < 200; ++round) {
    for (std::size_t size = 16; size <= 8192; size += size < 1024 ? 16 : 512) {
      blocks.emplace_back(new char[size]);
      std::memset(blocks.back().get(), 'x', size);
    }
  }
}

}  // namespace Kelvar::Test

// What is freed loses its first bytes to the allocator: look before.

void* operator new(std::size_t size) {
  if (void* block = std::malloc(size)) {
    return block;
  }
  throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return std::malloc(size);
}

void operator delete(void* block) noexcept {
  if (const auto* text = Kelvar::Test::watched.load(); text != nullptr && block != nullptr) {
    const auto* begin = static_cast<const unsigned char*>(block);
    Kelvar::Test::foundInFreed += text->CountIn(begin, begin + malloc_usable_size(block));
  }
  std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  operator delete(block);
}
