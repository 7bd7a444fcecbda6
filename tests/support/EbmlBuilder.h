#pragma once

#include <bit>
#include <cstdint>
#include <string_view>
#include <vector>

#include "readers/mkv/EbmlElements.h"

namespace qmf::test {

/// Assembles EBML elements, one behind the other. Masters take another builder's elements as their children.
class EbmlBuilder {
 public:
  using Bytes = std::vector<std::uint8_t>;

  const Bytes& Done() const { return m_bytes; }
  std::size_t Size() const { return m_bytes.size(); }

  EbmlBuilder& Raw(const Bytes& bytes);

  EbmlBuilder& Raw(std::string_view bytes) { return Raw(Bytes(bytes.begin(), bytes.end())); }

  /// `value` in `width` bytes, big-endian.
  EbmlBuilder& BigEndian(std::uint64_t value, std::size_t width) {
    for (; width > 0; --width)
      m_bytes.push_back(static_cast<std::uint8_t>(width > 8 ? 0 : value >> (8 * (width - 1))));
    return *this;
  }

  EbmlBuilder& Id(std::uint32_t id) {
    return BigEndian(id, id > 0xFFFFFF ? 4 : id > 0xFFFF ? 3 : id > 0xFF ? 2 : 1);
  }

  /// An element's size in `width` bytes.
  EbmlBuilder& ElementSize(std::uint64_t size, std::size_t width = 4) {
    return BigEndian(size | std::uint64_t{1} << (7 * width), width);
  }

  EbmlBuilder& Element(std::uint32_t id, const Bytes& payload) {
    return Id(id).ElementSize(payload.size()).Raw(payload);
  }

  EbmlBuilder& Binary(qmf::Element kind, const Bytes& payload) { return Element(ElementId(kind), payload); }

  EbmlBuilder& Unsigned(qmf::Element kind, std::uint64_t value, std::size_t width = 8) {
    return Binary(kind, EbmlBuilder().BigEndian(value, width).Done());
  }

  EbmlBuilder& Float(qmf::Element kind, double value) {
    return Unsigned(kind, std::bit_cast<std::uint64_t>(value));
  }

  EbmlBuilder& Text(qmf::Element kind, std::string_view text) {
    return Binary(kind, Bytes(text.begin(), text.end()));
  }

  EbmlBuilder& Master(qmf::Element kind, const EbmlBuilder& children) {
    return Binary(kind, children.m_bytes);
  }

  /// A master whose size is unknown.
  EbmlBuilder& OpenMaster(qmf::Element kind, const EbmlBuilder& children) {
    return Id(ElementId(kind))
        .Raw(Bytes{0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})
        .Raw(children.m_bytes);
  }

  EbmlBuilder& Void(std::size_t size) { return Binary(qmf::Element::Void, Bytes(size)); }

 private:
  Bytes m_bytes;
};

}  // namespace qmf::test
