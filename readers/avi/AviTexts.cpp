#include "readers/avi/AviTexts.h"

#include <utf8.h>

#include <string>
#include <string_view>

#include "framework/QueryAnswer.h"
#include "framework/Text.h"

namespace qmf {
namespace {

std::u16string Widen(std::string_view bytes) {
  if (utf8::is_valid(bytes.begin(), bytes.end())) return ToUtf16(bytes);
  std::u16string wide;
  for (const char byte : bytes) wide.push_back(static_cast<unsigned char>(byte));
  return wide;
}

}  // namespace

void ReadAviText(FileReader& file, const AviChunk& chunk, AviText& text) {
  if (chunk.size >= text.size()) return;
  AviText read{};
  if (file.ReadAt(chunk.Payload(), read.data(), chunk.size) == chunk.size) text = read;
}

QMFResult AnswerAviText(QMFQueryData& data, std::uint32_t qid, const AviText& text) {
  return AnswerText(data, qid, Widen(text.data()));
}

}  // namespace qmf
