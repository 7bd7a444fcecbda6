#pragma once

#include <bit>
#include <cstdint>
#include <span>

#include "framework/ByteOrder.h"
#include "framework/ResultCodes.h"

namespace qmf {

/// A variable-length integer of RFC 8794: as many bytes as its first byte has leading zero bits, plus one.
struct EbmlVarInt {
  std::size_t length = 0;
  std::uint64_t value = 0;  ///< Length marker included.

  std::uint64_t DataMask() const { return (std::uint64_t{1} << (7 * length)) - 1; }
  std::uint64_t Data() const { return value & DataMask(); }
  bool IsAllOnes() const { return Data() == DataMask(); }
  /// The data as a difference: its range is shifted to lie around zero.
  std::int64_t SignedData() const {
    return static_cast<std::int64_t>(Data()) - static_cast<std::int64_t>(DataMask() >> 1);
  }
};

/// Reads the integer at the start of `bytes`. More than `maxLength` bytes are QMF_FAILURE, an end inside it
/// QMF_ERR_END_OF_STREAM.
inline QMFResult ReadVarInt(std::span<const std::uint8_t> bytes, std::size_t maxLength, EbmlVarInt& number) {
  if (bytes.empty()) return QMF_ERR_END_OF_STREAM;
  number.length = static_cast<std::size_t>(std::countl_zero(bytes[0])) + 1;
  if (number.length > maxLength) return QMF_FAILURE;
  if (number.length > bytes.size()) return QMF_ERR_END_OF_STREAM;
  number.value = LoadBE(bytes.data(), number.length);
  return QMF_OK;
}

}  // namespace qmf
