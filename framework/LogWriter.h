#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "framework/Allocator.h"
#include "framework/InfoRecords.h"
#include "framework/LogFile.h"
#include "framework/LogFolder.h"
#include "framework/ResultCodes.h"

namespace qmf {

/// A number of a logged call, or a block whose checksum is printed.
struct LogValue {
  std::int64_t number = 0;
  const QMFBlock* block = nullptr;
};

/// Writes one instance's "L1log.txt": UTF-16LE with byte-order mark, each message followed by a line feed.
/// While that file is being written by somebody else the log is "L1log-2.txt", and so on up to kMostLogs, so
/// that no two logs ever mix. The file's name is written at once, what follows in writes of whole messages
/// when 4 KiB have gathered and at the end. Whatever fails ends the log and nothing else.
class LogWriter {
 public:
  static constexpr int kMostLogs = 16;

  explicit LogWriter(QMFAllocator* memory) : m_pending(memory) {}
  ~LogWriter() { Flush(); }
  LogWriter(const LogWriter&) = delete;
  LogWriter& operator=(const LogWriter&) = delete;

  /// False when the log is off or none can be opened.
  bool Open();

  /// Adds a message. In `format`, %0 to %9 stand for the values as signed decimals (a block: the CRC-32 of
  /// its bytes, ISO 3309), %Q for value 0 as the name of a query identifier, or as its 0x number when it has
  /// none.
  void Add(std::u16string_view format, std::span<const LogValue> values) noexcept;

  /// Writes "OpenContainer:" with the file's name.
  void AddOpened(std::u16string_view path) noexcept;

 private:
  void Append(std::u16string_view format, std::span<const LogValue> values);
  void Flush() noexcept;

  LogFile m_file;
  bool m_open = false;
  std::pmr::u16string m_pending;
};

}  // namespace qmf
