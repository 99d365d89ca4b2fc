#pragma once

#include <algorithm>
#include <bit>
#include <cereal/cereal.hpp>
#include <cereal/types/vector.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

/// The two directions of a message: cereal archives that append values to bytes in memory and take them from there, both
/// little-endian. Reading trusts nothing: whatever a message says, no more is read than it holds and no more is allocated than
/// a small multiple of its length.

namespace standin::ray_protocol {

static_assert(std::endian::native == std::endian::little, "values are copied as they lie in memory");

/// Numbers that have the same size in a program for Windows and in one for this machine.
template <class Number>
concept PortableNumber = std::is_arithmetic_v<Number> && sizeof(Number) <= 8 && !std::is_same_v<Number, long> &&
                         !std::is_same_v<Number, unsigned long> && !std::is_same_v<Number, wchar_t>;

/// Counts of characters and of elements.
using WireCount = std::uint32_t;

class MessageWriter : public cereal::OutputArchive<MessageWriter, cereal::AllowEmptyClassElision> {
 public:
  MessageWriter() : OutputArchive(this) {}

  void append(const void* data, std::size_t size_bytes) {
    const auto* first = static_cast<const char*>(data);
    bytes_.insert(bytes_.end(), first, first + size_bytes);
  }

  std::vector<char> take_bytes() { return std::move(bytes_); }

 private:
  std::vector<char> bytes_;
};

/// Throws std::runtime_error, with a sentence for a person, where the bytes are not the values that are asked for.
class MessageReader : public cereal::InputArchive<MessageReader, cereal::AllowEmptyClassElision> {
 public:
  explicit MessageReader(std::vector<char> bytes) : InputArchive(this), bytes_(std::move(bytes)) {}

  /// Throws unless this many bytes are left. To be called before memory is allocated for them.
  void require(std::size_t size_bytes) const {
    if (bytes_.size() - position_ < size_bytes) throw std::runtime_error("The ray service's message is shorter than it says");
  }

  void take(void* data, std::size_t size_bytes) {
    require(size_bytes);
    std::copy_n(bytes_.data() + position_, size_bytes, static_cast<char*>(data));
    position_ += size_bytes;
  }

  /// Throws unless everything was read.
  void require_end() const {
    if (position_ != bytes_.size()) throw std::runtime_error("The ray service's message is longer than it says");
  }

 private:
  std::vector<char> bytes_;
  std::size_t position_ = 0;
};

}  // namespace standin::ray_protocol

// For enumerations cereal compares both directions, so each archive has to know its counterpart.
CEREAL_SETUP_ARCHIVE_TRAITS(standin::ray_protocol::MessageReader, standin::ray_protocol::MessageWriter)

namespace standin::ray_protocol {

// --- What cereal asks of an archive.

template <PortableNumber Number>
void save(MessageWriter& archive, const Number& number) {
  archive.append(&number, sizeof number);
}

template <PortableNumber Number>
void load(MessageReader& archive, Number& number) {
  archive.take(&number, sizeof number);
}

inline void save(MessageWriter& archive, const bool& value) { archive(static_cast<std::uint8_t>(value)); }

inline void load(MessageReader& archive, bool& value) {
  std::uint8_t byte = 0;
  archive(byte);
  if (byte > 1) throw std::runtime_error("The ray service's message holds a yes or no that is neither");
  value = byte != 0;
}

template <class Size>
void save(MessageWriter& archive, const cereal::SizeTag<Size>& count) {
  archive(static_cast<WireCount>(count.size));
}

/// Every element takes at least one byte.
template <class Size>
void load(MessageReader& archive, cereal::SizeTag<Size>& count) {
  WireCount wire_count = 0;
  archive(wire_count);
  archive.require(wire_count);
  count.size = wire_count;
}

template <class Data>
void save(MessageWriter& archive, const cereal::BinaryData<Data>& block) {
  archive.append(block.data, block.size);
}

template <class Data>
void load(MessageReader& archive, cereal::BinaryData<Data>& block) {
  archive.take(block.data, block.size);
}

/// Names are for archives that a person reads.
template <class Archive, class Value>
void serialize(Archive& archive, cereal::NameValuePair<Value>& pair) {
  archive(pair.value);
}

/// In place of cereal's own, which makes room for all elements first: an element may be a hundred times as large in memory as
/// in the message, and the message may not hold it.
template <class Element>
  requires(!std::is_arithmetic_v<Element>)
void load(MessageReader& archive, std::vector<Element>& elements) {
  cereal::size_type count = 0;
  archive(cereal::make_size_tag(count));
  elements.clear();
  for (; count > 0; --count) archive(elements.emplace_back());
}

}  // namespace standin::ray_protocol
