#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>

#include "framework/ReturnIf.h"
#include "framework/Text.h"
#include "tools/qmfinfo/JsonRecords.h"
#include "tools/qmfinfo/MediaFile.h"
#include "tools/qmfinfo/Options.h"

namespace qmfinfo {
namespace {

constexpr std::size_t kFirstBuffer = 65536;

class BlockPrinter {
 public:
  BlockPrinter(const MediaFile& file, const BlocksOptions& options) : m_file(file), m_options(options) {}

  /// Prints the blocks and gives the result that ended the reading: 0 when the limit did.
  qmf::QMFResult Run() {
    QMF_RETURN_IF_NONZERO(m_file.Apply(m_options.settings));
    QMF_RETURN_IF_NONZERO(ActivateStreams());
    QMF_RETURN_IF_NONZERO(SetPosition());
    if (!m_options.byStream) return PrintAll(nullptr);
    for (const StreamName& stream : Wanted()) {
      const qmf::QMFResult result = PrintAll(&stream);
      if (result != qmf::QMF_ERR_END_OF_STREAM) return result;
    }
    return qmf::QMF_ERR_END_OF_STREAM;
  }

 private:
  std::vector<StreamName> Wanted() const {
    return m_options.streams.empty() ? m_file.Streams() : m_options.streams;
  }

  qmf::QMFResult Activate(const StreamName& stream, bool active) {
    return qmf::SetTitleActiveStream(m_file.Container(), stream.kind->blockType, stream.number,
                                     active ? 1 : 0);
  }

  // Of all streams, one that cannot be activated is not read; of named ones, it is a failure.
  qmf::QMFResult ActivateStreams() {
    for (const StreamName& stream : m_file.Streams()) (void)Activate(stream, m_options.streams.empty());
    for (const StreamName& stream : m_options.streams) QMF_RETURN_IF_NONZERO(Activate(stream, true));
    return qmf::QMF_OK;
  }

  qmf::QMFResult SetPosition() {
    if (!m_options.from) return qmf::QMF_OK;
    const std::vector<StreamName> streams = Wanted();
    if (streams.empty()) return qmf::QMF_ERR_INVALID_STREAM;
    std::int64_t time = *m_options.from;
    QMF_RETURN_IF_NONZERO(
        qmf::SetPosition(m_file.Container(), streams[0].kind->blockType, streams[0].number, &time));
    PrintLine({{"position", time}});
    return qmf::QMF_OK;
  }

  // Reads one block of `only`, or of whatever comes next, into a buffer that grows as the block asks for.
  qmf::QMFResult Read(const StreamName* only) {
    for (;;) {
      m_block = {};
      m_block.data = m_buffer.data();
      m_block.capacity = static_cast<std::uint32_t>(m_buffer.size());
      const qmf::QMFResult result = ReadOnce(only);
      if (result != qmf::QMF_ERR_BLOCK_BUFFER_TOO_SMALL || m_block.required <= m_buffer.size()) return result;
      m_buffer.resize(m_block.required);
    }
  }

  qmf::QMFResult ReadOnce(const StreamName* only) {
    if (only == nullptr) return qmf::ReadNextBlock(m_file.Container(), &m_type, &m_stream, &m_block, &m_time);
    m_type = only->kind->blockType;
    m_stream = only->number;
    return qmf::ReadNextBlockByStream(m_file.Container(), m_type, m_stream, &m_block, &m_time);
  }

  qmf::QMFResult PrintAll(const StreamName* only) {
    while (!m_options.limit || m_printed < *m_options.limit) {
      QMF_RETURN_IF_NONZERO(Read(only));
      PrintBlock();
      ++m_printed;
    }
    return qmf::QMF_OK;
  }

  void PrintBlock() const {
    const StreamKind* const kind = FindStreamKind(m_type);
    Json line;
    line["kind"] = kind != nullptr ? Json(kind->name) : Json();
    line["stream"] = m_stream;
    line["time"] = m_time;
    line["size"] = m_block.size;
    line["crc32"] = fmt::format("{:08x}", crc32(0, m_block.data, m_block.size));
    if (m_block.key != qmf::QMFBlock::kUnknown) line["key"] = m_block.key == qmf::QMFBlock::kKey;
    PrintLine(line);
  }

  const MediaFile& m_file;
  const BlocksOptions& m_options;
  std::vector<std::uint8_t> m_buffer = std::vector<std::uint8_t>(kFirstBuffer);
  qmf::QMFBlock m_block;
  std::uint32_t m_type = 0;
  std::uint32_t m_stream = 0;
  std::int64_t m_time = 0;
  std::uint64_t m_printed = 0;
};

}  // namespace

ExitCode Run(const BlocksOptions& options) {
  MediaFile file;
  const qmf::QMFResult opened = file.Open(options.path, options.title);
  if (qmf::IsFailure(opened)) {
    Json object = {{"path", qmf::ToUtf8(options.path)}};
    SetResult(object, opened);
    object["schema"] = kJsonSchema;
    PrintLine(object);
    return kSomeFailed;
  }
  const qmf::QMFResult end = BlockPrinter(file, options).Run();
  Json last = {{"end", true}, {"result", static_cast<std::uint32_t>(end)}};
  last["result_name"] = ResultName(end);
  last["schema"] = kJsonSchema;
  PrintLine(last);
  return ExitCodeOf(end == qmf::QMF_OK || end == qmf::QMF_ERR_END_OF_STREAM);
}

}  // namespace qmfinfo
