#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

#include "framework/InfoRecords.h"
#include "framework/QueryIds.h"
#include "framework/ResultCodes.h"

namespace qmf {

/// Answers a query of kind 0x1 to 0x8 with `value`; narrower values occupy its low bytes. Always succeeds.
inline QMFResult AnswerNumber(QMFQueryData& data, std::uint32_t qid, std::uint64_t value) {
  data.type = ValueKindOf(qid);
  data.value = value;
  return QMF_OK;
}

/// Answers a query of kind 0xA or 0xB with `bytes`. `size` becomes the number of bytes the answer has, both
/// on success and with QMF_ERR_BUFFER_TOO_SMALL, which leaves the caller's buffer as it was. No bytes are a
/// success that needs no buffer: the null answer.
inline QMFResult AnswerBytes(QMFQueryData& data, std::uint32_t qid, std::span<const std::uint8_t> bytes) {
  const std::uint32_t capacity = data.size;
  data.size = static_cast<std::uint32_t>(bytes.size());
  if (bytes.empty()) {
    data.type = ValueKindOf(qid);
    return QMF_OK;
  }
  if (data.pointer == nullptr || capacity < bytes.size()) return QMF_ERR_BUFFER_TOO_SMALL;
  std::memcpy(data.pointer, bytes.data(), bytes.size());
  data.type = ValueKindOf(qid);
  return QMF_OK;
}

/// Answers a query of kind 0xA with zero-terminated text; `size` counts the terminator.
QMFResult AnswerText(QMFQueryData& data, std::uint32_t qid, std::u16string_view text);

/// Whether the caller's buffer can take a record of `bytes` bytes.
inline bool HasRoomFor(const QMFQueryData& data, std::size_t bytes) {
  return data.pointer != nullptr && data.size >= bytes;
}

/// Copies a whole record into the caller's buffer, leaving `size` as it is.
template <class Record>
QMFResult AnswerRecord(QMFQueryData& data, const Record& record) {
  static_assert(std::is_trivially_copyable_v<Record>);
  if (!HasRoomFor(data, sizeof(Record))) return QMF_ERR_BUFFER_TOO_SMALL;
  std::memcpy(data.pointer, &record, sizeof(Record));
  data.type = kValueRecord;
  return QMF_OK;
}

}  // namespace qmf
