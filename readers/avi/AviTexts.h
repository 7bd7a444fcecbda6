#pragma once

#include <array>

#include "framework/InfoRecords.h"
#include "readers/avi/AviChunks.h"

namespace qmf {

/// Zero-terminated text of an 'INFO' list, as bytes of the file.
using AviText = std::array<char, 256>;

struct AviTexts {
  AviText software{};  ///< 'ISFT'
  AviText version{};   ///< 'IQFV': version of the product that wrote the file.
  AviText product{};   ///< 'IQPN': its name.
};

/// Copies a text chunk; one that would not leave room for the terminator is skipped, as is one that the file
/// does not hold whole.
void ReadAviText(FileReader& file, const AviChunk& chunk, AviText& text);

/// Answers with the text in UTF-16. The bytes count as UTF-8 where they are, else as ISO 8859-1.
QMFResult AnswerAviText(QMFQueryData& data, std::uint32_t qid, const AviText& text);

}  // namespace qmf
