#pragma once

#include <cstdint>

#include "framework/ModuleInterface.h"
#include "readers/avi/AviContainer.h"

namespace qmf {

/// The read module of AVI 1.0 and AVI 2.0 files (also named ".qivo").
extern const QMFModuleDescriptor kAviModule;

/// One opened file. A menu module makes menu RIFFs count.
class AviReader {
 public:
  explicit AviReader(QMFAllocator* memory, const AviMenuModule* menuModule = nullptr)
      : m_container(memory, menuModule) {}

  static QMFResult Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory);

  QMFResult Open(const char16_t* path);
  QMFResult SetTitle(std::uint32_t titleIndex);
  static QMFResult SetMenu(std::uint32_t menuIndex);
  QMFResult GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index);
  QMFResult SetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index);
  QMFResult SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time);
  QMFResult SetTitleActiveStream(std::uint32_t blockType, std::uint32_t stream, std::uint32_t active);
  QMFResult ReadNextBlock(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block,
                          std::int64_t& time);
  QMFResult ReadNextBlockByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block,
                                  std::int64_t& time);

 private:
  AviContainer m_container;
};

}  // namespace qmf
