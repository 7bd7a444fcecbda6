#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "framework/QueryIds.h"
#include "framework/ReturnIf.h"
#include "framework/Text.h"
#include "tools/qmfinfo/JsonRecords.h"
#include "tools/qmfinfo/MediaFile.h"
#include "tools/qmfinfo/Options.h"

namespace qmfinfo {
namespace {

constexpr std::uint32_t kDefaultBufferSize = 65536;

// The record of one call together with the buffer that it may point to.
struct Asked {
  qmf::QMFQueryData data;
  std::vector<std::uint8_t> buffer;
};

bool UsesBuffer(std::uint32_t qid) {
  const qmf::QMFValueKind kind = qmf::ValueKindOf(qid);
  return kind == qmf::kValueString || kind == qmf::kValueRecord;
}

Asked Prepare(const QueryOptions& options) {
  Asked asked;
  if (UsesBuffer(options.qid)) {
    asked.buffer.resize(options.size.value_or(kDefaultBufferSize));
    asked.data.pointer = asked.buffer.empty() ? nullptr : asked.buffer.data();
    asked.data.size = static_cast<std::uint32_t>(asked.buffer.size());
  } else {
    asked.data.size = options.size.value_or(0);
    asked.data.value = options.value.value_or(0);
  }
  return asked;
}

qmf::QMFResult Ask(const QueryOptions& options, Asked& asked) {
  MediaFile file;
  QMF_RETURN_IF_FAILURE(file.Open(options.path, options.title));
  QMF_RETURN_IF_NONZERO(file.Apply(options.settings));
  for (const StreamName& stream : options.activate) {
    QMF_RETURN_IF_NONZERO(
        qmf::SetTitleActiveStream(file.Container(), stream.kind->blockType, stream.number, 1));
  }
  return qmf::GetInfo(file.Container(), options.qid, &asked.data, options.index);
}

Json NumberJson(std::uint32_t qid, const qmf::QMFQueryData& data) {
  switch (qmf::ValueKindOf(qid)) {
    case qmf::kValueBoolean:
      return (data.value & 0xFF) != 0;
    case qmf::kValueCount:
      return data.value & 0xFFFF;
    case qmf::kValue32:
    case qmf::kValueUnsigned32:
      return data.value & 0xFFFFFFFF;
    default:
      return data.value;
  }
}

Json TextJson(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return {};
  std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
  return qmf::ToUtf8(std::u16string_view(text).substr(0, text.find(u'\0')));
}

// Records of a fixed size leave the capacity in `size`; other answers put their number of bytes there.
std::size_t AnsweredBytes(std::uint32_t qid, const Asked& asked) {
  constexpr std::size_t kExtraOffset = offsetof(qmf::QMFAudioFormat, extra);
  const qmf::QMFQueryData& data = asked.data;
  switch (qid) {
    case qmf::QMF_QID_VID_STREAM_FORMAT:
      return sizeof(qmf::QMFVideoFormat);
    case qmf::QMF_QID_AUD_STREAM_FORMAT: {
      std::uint16_t extraSize = 0;
      std::memcpy(&extraSize, asked.buffer.data() + offsetof(qmf::QMFAudioFormat, extraSize),
                  sizeof(extraSize));
      return std::max(sizeof(qmf::QMFAudioFormat), kExtraOffset + extraSize);
    }
    case qmf::QMF_QID_SUB_STREAM_FORMAT:
      return sizeof(qmf::QMFSubtitleFormat);
    case qmf::QMF_QID_GET_TITLE_MEDIA_PROP:
      return sizeof(qmf::QMFTitleMediaProp);
    default:
      return data.size;
  }
}

Json RecordJson(std::uint32_t qid, std::span<const std::uint8_t> bytes) {
  Json object = {{"hex", Hex(bytes)}};
  if (qid == qmf::QMF_QID_VID_STREAM_FORMAT) {
    qmf::QMFVideoFormat format{};
    std::memcpy(&format, bytes.data(), std::min(bytes.size(), sizeof(format)));
    AddVideoFormat(object["record"], format);
  } else if (qid == qmf::QMF_QID_AUD_STREAM_FORMAT) {
    AddAudioFormat(object["record"], bytes);
  }
  return object;
}

Json DataJson(std::uint32_t qid, const Asked& asked) {
  if (!UsesBuffer(qid)) return NumberJson(qid, asked.data);
  const std::span<const std::uint8_t> buffer = asked.buffer;
  if (qmf::ValueKindOf(qid) == qmf::kValueString) {
    return TextJson(buffer.first(std::min<std::size_t>(asked.data.size, buffer.size())));
  }
  return RecordJson(qid, buffer.first(std::min(AnsweredBytes(qid, asked), buffer.size())));
}

}  // namespace

ExitCode Run(const QueryOptions& options) {
  Asked asked = Prepare(options);
  const qmf::QMFResult result = Ask(options, asked);
  const char16_t* const name = qmf::QueryIdName(options.qid);
  Json object = {{"path", qmf::ToUtf8(options.path)}};
  object["qid"] = name != nullptr ? Json(qmf::ToUtf8(name)) : Json();
  object["value_id"] = fmt::format("0x{:06X}", options.qid);
  object["index"] = options.index;
  SetResult(object, result);
  object["type"] = asked.data.type;
  object["data"] = result == qmf::QMF_OK ? DataJson(options.qid, asked) : Json();
  object["schema"] = kJsonSchema;
  PrintLine(object);
  return ExitCodeOf(result == qmf::QMF_OK);
}

}  // namespace qmfinfo
