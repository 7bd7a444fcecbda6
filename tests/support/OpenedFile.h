#pragma once

#include <memory>
#include <string>
#include <vector>

#include "framework/Container.h"
#include "framework/FileReader.h"
#include "framework/LogWriter.h"
#include "framework/QueryIds.h"

namespace qmf::test {

/// What a block call gave.
struct ReadBlock {
  QMFResult result = QMF_OK;
  std::vector<std::uint8_t> bytes;
  std::int64_t time = 0;
  std::int64_t endTime = 0;
  QMFBlock::KeyState key = QMFBlock::kUnknown;
};

/// Bytes under a name, opened as a container through the whole road, title 0 selected and one stream
/// activated.
class OpenedFile {
 public:
  OpenedFile(std::u16string name, std::vector<std::uint8_t> bytes, std::uint32_t blockType)
      : m_name(std::move(name)), m_bytes(std::move(bytes)), m_blockType(blockType) {
    SetLogOff();
    m_reader = std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(m_bytes));
    const SharedFileScope named(m_name.c_str(), m_reader);
    result = OpenContainer(&m_container, m_name.c_str(), nullptr);
    if (result == QMF_OK) result = SetTitle(m_container, 0);
    if (result == QMF_OK) result = SetTitleActiveStream(m_container, blockType, 0, 1);
  }
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;
  ~OpenedFile() {
    if (m_container != nullptr) (void)CloseContainer(m_container);
  }

  QMFResult result;  ///< Of opening.

  QMFContainer* Container() { return m_container; }
  std::uint64_t BytesRead() const { return m_reader->BytesRead(); }

  /// The number that a query answers; its result must be 0.
  std::uint64_t Number(std::uint32_t qid) {
    QMFQueryData data;
    queryResult = GetInfo(m_container, qid, &data, 0);
    return data.value;
  }

  /// Asks for a record, which keeps what it holds where the answer does not say anything.
  template <class Record>
  QMFResult Fill(std::uint32_t qid, Record& record) {
    QMFQueryData data;
    data.size = sizeof(record);
    data.pointer = &record;
    return queryResult = GetInfo(m_container, qid, &data, 0);
  }

  ReadBlock Next(std::uint32_t capacity = 1 << 20) {
    ReadBlock read;
    read.bytes.resize(capacity);
    QMFBlock block;
    block.data = read.bytes.data();
    block.capacity = capacity;
    std::uint32_t blockType = 0;
    std::uint32_t stream = 9;
    read.result = ReadNextBlock(m_container, &blockType, &stream, &block, &read.time);
    required = block.required;
    read.bytes.resize(block.size);
    read.endTime = block.endTime;
    read.key = block.key;
    return read;
  }

  /// All blocks up to the end of the stream.
  std::vector<ReadBlock> Rest() {
    std::vector<ReadBlock> blocks;
    for (ReadBlock read = Next(); read.result == QMF_OK; read = Next()) blocks.push_back(std::move(read));
    return blocks;
  }

  /// Where SetPosition landed; -1 when it failed.
  std::int64_t Seek(std::int64_t time) {
    return SetPosition(m_container, m_blockType, 0, &time) == QMF_OK ? time : -1;
  }

  QMFResult queryResult = QMF_OK;  ///< Of the latest query.
  std::uint32_t required = 0;      ///< Of the latest block.

 private:
  std::u16string m_name;
  std::vector<std::uint8_t> m_bytes;
  std::uint32_t m_blockType;
  std::shared_ptr<FileReader> m_reader;
  QMFContainer* m_container = nullptr;
};

}  // namespace qmf::test
