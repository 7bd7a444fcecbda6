#include "framework/QueryAnswer.h"

namespace qmf {

QMFResult AnswerText(QMFQueryData& data, std::uint32_t qid, std::u16string_view text) {
  const std::size_t textBytes = text.size() * sizeof(char16_t);
  const std::uint32_t capacity = data.size;
  data.size = static_cast<std::uint32_t>(textBytes + sizeof(char16_t));
  if (data.pointer == nullptr || capacity < data.size) return QMF_ERR_BUFFER_TOO_SMALL;
  auto* const out = static_cast<std::uint8_t*>(data.pointer);
  if (!text.empty()) std::memcpy(out, text.data(), textBytes);
  std::memset(out + textBytes, 0, sizeof(char16_t));
  data.type = ValueKindOf(qid);
  return QMF_OK;
}

}  // namespace qmf
