#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "framework/FileReader.h"
#include "framework/ModuleInterface.h"
#include "framework/QueryIds.h"
#include "readers/avi/AviModule.h"
#include "tests/support/AviBuilder.h"

namespace qmf::test {

/// Bytes opened by the AVI module through its entry points.
class OpenedAvi {
 public:
  explicit OpenedAvi(Bytes bytes, const QMFModuleEntryPoints& module = *kAviModule.entryPoints,
                     QMFAllocator* memory = nullptr);
  /// Opens a file of the platform.
  explicit OpenedAvi(const std::u16string& path);
  OpenedAvi(const OpenedAvi&) = delete;
  OpenedAvi& operator=(const OpenedAvi&) = delete;
  ~OpenedAvi();

  QMFResult OpenResult() const { return m_opened; }
  QMFModuleHandle Handle() const { return m_handle; }
  const QMFModuleEntryPoints& Module() const { return m_module; }
  QMFResult SetTitle(std::uint32_t index = 0) { return m_module.SetTitle(m_handle, index); }

  /// The answer of a query that travels in `value`, or nothing when it fails.
  std::optional<std::uint64_t> Number(std::uint32_t qid, std::uint32_t index = 0, std::uint64_t value = 0);
  QMFResult Result(std::uint32_t qid, std::uint32_t index = 0, std::uint64_t value = 0);
  /// The answer of a text query; nothing for the null answer, an error as text.
  std::optional<std::u16string> Text(std::uint32_t qid);

  template <class Record>
  std::optional<Record> Format(std::uint32_t qid, std::uint32_t index = 0) {
    Record record{};
    QMFQueryData data;
    data.size = sizeof(record);
    data.pointer = &record;
    if (m_module.GetInfo(m_handle, qid, &data, index) != QMF_OK || data.type != kValueRecord) return {};
    return record;
  }

 private:
  const Bytes m_bytes;
  const QMFModuleEntryPoints& m_module;
  QMFModuleHandle m_handle = nullptr;
  QMFResult m_opened = QMF_OK;
};

}  // namespace qmf::test
