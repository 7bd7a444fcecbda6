// What the properties of files cost beside merely touching the files and beside what others charge, and how
// fast their media data are read. Prints a line of JSON for each file; ./bench makes tables of them.
//
//   touch_bench open FILE...     nanoseconds of each contender, and how many times the floor that is
//   touch_bench blocks FILE...   seconds of processor time for reading all media data

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>

#include "benchmarks/Contenders.h"
#include "framework/FileReader.h"

namespace qmf::bench {
namespace {

using Json = nlohmann::ordered_json;

constexpr double kBatchSeconds = 150e-6;  // Shorter than what the scheduler gives a process at a time.
constexpr int kRounds = 101;
constexpr double kMostSeconds = 2;  // For all batches of one contender on one file.
constexpr int kFewestRounds = 5;
constexpr int kBlockRounds = 7;
constexpr int kShortRounds = 61;  // Of files that take a few milliseconds.
constexpr std::uintmax_t kShortFile = 100'000'000;

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Seconds of one run, taken over `runs` of them.
double TimeBatch(const Contender& contender, const std::string& file, int runs) {
  const double start = Now();
  for (int i = 0; i < runs; ++i) contender.run(file);
  const double seconds = (Now() - start) / runs;
  if (contender.tidy != nullptr) contender.tidy();
  return seconds;
}

int BatchSize(const Contender& contender, const std::string& file) {
  if (contender.tidy != nullptr) return 1;
  TimeBatch(contender, file, 3);
  const double seconds = TimeBatch(contender, file, 3);
  return std::max(1, static_cast<int>(kBatchSeconds / seconds));
}

// Each batch stands beside one of the floor's: what disturbs the machine disturbs both.
Json CompareWithFloor(const Contender& floor, const Contender& contender, const std::string& file) {
  if (!contender.run(file)) return nullptr;
  const int runs = BatchSize(contender, file);
  const int floorRuns = BatchSize(floor, file);
  std::vector<double> seconds;
  std::vector<double> ratios;
  const double end = Now() + kMostSeconds;
  for (int round = 0; round < kRounds && (round < kFewestRounds || Now() < end); ++round) {
    const double touch = TimeBatch(floor, file, floorRuns);
    seconds.push_back(TimeBatch(contender, file, runs));
    ratios.push_back(seconds.back() / touch);
  }
  return {{"ns", Median(seconds) * 1e9}, {"ratio", Median(ratios)}};
}

Json CountReads(const Contender& contender, const std::string& file) {
  const FileReader::Counters before = FileReader::TotalCounters();
  contender.run(file);
  const FileReader::Counters after = FileReader::TotalCounters();
  return {{"opens", after.opens - before.opens},
          {"reads", after.reads - before.reads},
          {"bytes", after.bytes - before.bytes}};
}

Json MeasureOpen(const std::string& file) {
  std::vector<Contender> contenders = OwnContenders();
  const Contender floor = contenders.front();
  Json found = {{"file", file}, {"size", std::filesystem::file_size(file)}};
  for (const Contender& peer : PeerContenders()) contenders.push_back(peer);
  for (const Contender& each : contenders) {
    found[each.name] = CompareWithFloor(floor, each, file);
    if (std::string_view(each.name) == "ours") found["counts"] = CountReads(each, file);
  }
  return found;
}

Json MeasureBlocks(const std::string& file) {
  std::vector<BlockContender> contenders = OwnBlockContenders();
  for (const BlockContender& peer : PeerBlockContenders()) contenders.push_back(peer);
  std::vector<std::vector<double>> seconds(contenders.size());
  const int rounds = std::filesystem::file_size(file) < kShortFile ? kShortRounds : kBlockRounds;
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < contenders.size(); ++i) seconds[i].push_back(contenders[i].run(file));
  }
  Json found = {{"file", file}, {"size", std::filesystem::file_size(file)}};
  for (std::size_t i = 0; i < contenders.size(); ++i) {
    const double median = Median(seconds[i]);
    found[contenders[i].name] = median < 0 ? Json() : Json(median);
  }
  return found;
}

int Main(int count, char** arguments) {
  const std::string_view command = count > 2 ? arguments[1] : "";
  if (command != "open" && command != "blocks") {
    std::fputs("usage: touch_bench open|blocks FILE...\n", stderr);
    return 2;
  }
  for (int i = 2; i < count; ++i) {
    const Json found = command == "open" ? MeasureOpen(arguments[i]) : MeasureBlocks(arguments[i]);
    std::puts(found.dump().c_str());
    std::fflush(stdout);
  }
  RemoveScratchFiles();
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace qmf::bench

int main(int count, char** arguments) {
  return qmf::bench::Main(count, arguments);
}
