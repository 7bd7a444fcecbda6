#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qmf::bench {

/// A way to get at a file's properties, from opening the file to closing it.
struct Contender {
  const char* name;
  bool (*run)(const std::string& file);  ///< False when the file could not be read.
  void (*tidy)() = nullptr;              ///< Undoes what a run leaves behind; not measured.
};

/// A way to read a file's media data.
struct BlockContender {
  const char* name;
  /// Gives the seconds of processor time that reading everything took, without opening the file; negative for
  /// a failure.
  double (*run)(const std::string& file);
};

/// Ours and the yardsticks, the floor first.
std::vector<Contender> OwnContenders();
std::vector<BlockContender> OwnBlockContenders();

/// What others offer, as far as their libraries were there when this was built.
std::vector<Contender> PeerContenders();
std::vector<BlockContender> PeerBlockContenders();

/// Removes the files that our contenders write.
void RemoveScratchFiles();

/// Seconds since some moment.
double Now();

/// Seconds that the processor has worked for this process. What takes longer than a turn of the scheduler is
/// measured by this.
double ProcessorTime();

}  // namespace qmf::bench
