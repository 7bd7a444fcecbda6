// Files that are made to cost: whatever they say, the seven properties stay within their budget of bytes,
// elements and memory. Counters tell, never the clock.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "framework/LogWriter.h"
#include "framework/Text.h"
#include "tests/faults/FaultRoad.h"
#include "tests/support/Contract.h"
#include "tests/support/HeapWatch.h"

namespace qmf::test {
namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;

constexpr std::uint64_t kGiB = 1U << 30;

/// `front`, and behind it `pattern` over and over.
class EndlessFile : public FileSource {
 public:
  EndlessFile(std::string front, std::string pattern, std::uint64_t size)
      : m_front(std::move(front)), m_pattern(std::move(pattern)), m_size(size) {}

  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override {
    if (offset >= m_size) return 0;
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, m_size - offset));
    auto* const out = static_cast<char*>(destination);
    std::size_t done = 0;
    if (offset < m_front.size()) {
      done = std::min<std::size_t>(count, m_front.size() - static_cast<std::size_t>(offset));
      std::memcpy(out, m_front.data() + offset, done);
    }
    while (done < count) {
      const auto from = static_cast<std::size_t>((offset + done - m_front.size()) % m_pattern.size());
      const std::size_t run = std::min(count - done, m_pattern.size() - from);
      std::memcpy(out + done, m_pattern.data() + from, run);
      done += run;
    }
    return count;
  }
  std::uint64_t Size() const noexcept override { return m_size; }

 private:
  const std::string m_front;
  const std::string m_pattern;
  const std::uint64_t m_size;
};

std::string SmallBytes(const std::string& extension) {
  for (const SmallFile& file : SmallFiles()) {
    if (file.name.ends_with("." + extension)) return {file.bytes.begin(), file.bytes.end()};
  }
  return {};
}

// `text` so often that a pattern is long enough to be copied quickly.
std::string Many(const std::string& text) {
  std::string many;
  while (many.size() < 4096) many += text;
  return many;
}

const std::string kEbmlHead =
    "\x1A\x45\xDF\xA3\x8B\x42\x82\x88matroska"s + "\x18\x53\x80\x67\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s;
const std::string kHugeSize = "\x08\x00\x00\x04\x00\x00\x00\x00"s;  // 16 GiB.
const std::string kAviHead =
    "RIFF\xF0\xFF\xFF\xFF"
    "AVI LIST\xE0\xFF\xFF\xFFhdrl"s;
const std::string kMoovHead =
    "\0\0\0\x14"
    "ftypisom\0\0\0\0isom"
    "\0\0\0\1moov\0\0\0\4\0\0\0\0"s;
const std::string kMvhd =
    "\0\0\0\x6Cmvhd"s + std::string(12, '\0') + "\0\0\3\xE8\0\0\x10\0"s + std::string(80, '\0');

std::string Atom(const std::string& type, const std::string& payload) {
  std::string size;
  for (int shift = 24; shift >= 0; shift -= 8)
    size += static_cast<char>((payload.size() + 8) >> shift & 0xFF);
  return size + type + payload;
}

// An atom of 16 GiB, for whatever follows.
std::string Open(const std::string& type) {
  return "\0\0\0\1"s + type + "\0\0\0\4\0\0\0\0"s;
}

// The small file's video track, of no samples.
std::string EmptyTrack() {
  const std::string bytes = SmallBytes("mp4");
  const std::size_t at = bytes.find("trak") + 4;
  std::string track = bytes.substr(at, bytes.find("trak", at) - 4 - at);
  track.replace(track.find("stts") + 8, 4, 4, '\0');
  return Atom("trak", track);
}

// A movie that fragments continue.
std::string FragmentedMovie() {
  const std::string extends = Atom("mvex", Atom("trex", "\0\0\0\0\0\0\0\1"s + std::string(16, '\0')));
  return Atom("ftyp", "isom") + Atom("moov", kMvhd + EmptyTrack() + extends);
}

struct Hostile {
  const char* name;
  const char* extension;
  std::string front;
  std::string pattern;
};

std::vector<Hostile> HostileFiles() {
  const std::string zeros(4096, '\0');
  std::vector<Hostile> files;
  for (const char* extension : {"mkv", "avi", "mp4", "h264", "aac", "srt"}) {
    files.push_back({"nothing but zeros", extension, "", zeros});
    files.push_back({"zeros behind a real file", extension, SmallBytes(extension), zeros});
    files.push_back({"zeros behind half a file", extension,
                     SmallBytes(extension).substr(0, SmallBytes(extension).size() / 2), zeros});
    files.push_back({"a real file without end", extension, "", SmallBytes(extension)});
    files.push_back({"nothing but ones", extension, "", std::string(4096, '\xFF')});
  }
  files.insert(
      files.end(),
      {
          {"empty Voids", "mkv", kEbmlHead, Many("\xEC\x80")},
          {"Voids far from each other", "mkv", kEbmlHead, "\xEC\x53\x88" + std::string(5000, '\0')},
          {"empty track entries", "mkv", kEbmlHead + "\x16\x54\xAE\x6B" + kHugeSize, Many("\xAE\x80")},
          {"tracks with names", "mkv", kEbmlHead + "\x16\x54\xAE\x6B" + kHugeSize,
           "\xAE\x45\x03\x53\x6E\x44\xFF" + std::string(1279, 'n')},
          {"information without end", "mkv", kEbmlHead + "\x15\x49\xA9\x66" + kHugeSize,
           Many("\x7B\xA9\x81t")},
          {"many Tracks", "mkv", kEbmlHead, Many("\x16\x54\xAE\x6B\x80")},
          {"chapters without end", "mkv", kEbmlHead + "\x10\x43\xA7\x70" + kHugeSize,
           Many("\x45\xB9\x88\x45\xDD\x81\1\xB6\x82\x91\x80")},
          {"empty clusters", "mkv", kEbmlHead, Many("\x1F\x43\xB6\x75\x80")},
          {"nested unknown sizes", "mkv", kEbmlHead, Many("\x1F\x43\xB6\x75\xFF\x18\x53\x80\x67\xFF")},
          {"seek heads", "mkv", kEbmlHead,
           Many("\x11\x4D\x9B\x74\x8E\x4D\xBB\x8B\x53\xAB\x84\x11\x4D\x9B\x74\x53\xAC\x81\0"s)},
          {"a title of 16 GiB", "mkv", kEbmlHead + "\x15\x49\xA9\x66" + kHugeSize + "\x7B\xA9" + kHugeSize,
           "t"},
          {"private data of 16 GiB", "mkv",
           kEbmlHead + "\x16\x54\xAE\x6B" + kHugeSize + "\xAE" + kHugeSize + "\x63\xA2" + kHugeSize, "p"},
          {"a child beyond its parent", "mkv", kEbmlHead, Many("\x16\x54\xAE\x6B\x83\xAE\xFF\xD7"s)},
          {"a Void of 16 GiB", "mkv", kEbmlHead + "\xEC" + kHugeSize, Many("\xEC\x80")},
          {"ids that are none", "mkv", kEbmlHead, Many("\0\1"s)},
          {"a name of 4 GiB", "avi", kAviHead + "LIST\xC0\xFF\xFF\xFFstrlstrn\xB0\xFF\xFF\xFF"s, "n"},
          {"sizes that wrap", "avi", kAviHead, Many("LIST\xFF\xFF\xFF\xFFstrlstrf\xFF\xFF\xFF\xFF"s)},
          {"lists below four bytes", "avi", kAviHead, Many("LIST\0\0\0\0LIST\3\0\0\0"s)},
          {"empty chunks", "avi", kAviHead, Many("JUNK\0\0\0\0"s)},
          {"empty lists", "avi", kAviHead, Many("LIST\4\0\0\0strl"s)},
          {"far chunks", "avi", kAviHead, "JUNK\0\x20\0\0"s + std::string(8192, '\0')},
          {"names", "avi", kAviHead, Many("LIST\x14\0\0\0strlstrn\4\0\0\0name"s)},
          {"extensions", "avi", SmallBytes("avi"), Many("RIFF\4\0\0\0AVIX"s)},
          {"menus", "avi", SmallBytes("avi"), Many("RIFF\4\0\0\0MENU"s)},
          {"empty atoms", "mp4", kMoovHead + kMvhd,
           Many("\0\0\0\x08"
                "free"s)},
          {"empty tracks", "mp4", kMoovHead + kMvhd, Many("\0\0\0\x08trak"s)},
          {"nested media", "mp4", kMoovHead + kMvhd, Many("\0\0\0\x10trak\0\0\0\x08mdia"s)},
          {"fragments", "mp4", SmallBytes("mp4"), Many("\0\0\0\x08moof"s)},
          {"atoms of no size", "mp4",
           "\0\0\0\x08"
           "ftyp"s,
           Many("\0\0\0\1free\0\0\0\0\0\0\0\x10"s)},
          {"far atoms", "mp4", Atom("ftyp", "isom"), Atom("free", std::string(8192, '\0'))},
          {"tracks", "mp4", kMoovHead + kMvhd, EmptyTrack()},
          {"edits", "mp4",
           kMoovHead + kMvhd + Open("trak") + Open("edts") + Open("elst") + "\0\0\0\0\xFF\xFF\xFF\xFF"s,
           Many("\0\0\0\1\xFF\xFF\xFF\xFF\0\1\0\0"s)},
          {"a compressed movie of empty blocks", "mp4",
           Atom("ftyp", "isom") + Open("moov") + Open("cmov") + Atom("dcom", "zlib") + Open("cmvd") +
               "\0\x10\0\0\x78\1"s,
           Many("\0\0\0\xFF\xFF"s)},
          {"atoms behind a fragmented movie", "mp4", FragmentedMovie(), Many(Atom("free", ""))},
          {"far atoms behind a fragmented movie", "mp4", FragmentedMovie(),
           Atom("free", std::string(8192, '\0'))},
          {"segment indexes", "mp4", FragmentedMovie(),
           Atom("sidx", "\0\0\0\0\0\0\0\1\0\0\3\xE8\0\0\0\0\xFF\xFF\xFF\xFF\0\0\xFF\xFF"s +
                            std::string(12 * 0xFFFF, '\0'))},
          {"tracks of a fragment", "mp4", FragmentedMovie() + Open("moof"),
           Many(Atom("traf", Atom("tfhd", "\0\0\0\0\0\0\0\1"s)))},
          {"runs of a fragment", "mp4",
           FragmentedMovie() + Open("moof") + Open("traf") + Atom("tfhd", "\0\0\0\0\0\0\0\1"s),
           Many(Atom("trun", std::string(8, '\0')))},
          {"samples of a run", "mp4",
           FragmentedMovie() + Open("moof") + Open("traf") + Atom("tfhd", "\0\0\0\0\0\0\0\1"s) +
               Open("trun") + "\0\0\1\0\xFF\xFF\xFF\xFF"s,
           Many("\0\0\0\1"s)},
          {"sizes that wrap", "mp4", kMoovHead, Many("\0\0\0\1trak\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xF0"s)},
          {"one set without end", "h264", "\0\0\1\x67\x42\0\x1E"s, "\xFF"},
          {"start codes", "h264", "", Many("\0\0\1"s)},
          {"delimiters", "h264", "", Many("\0\0\1\x09\xF0"s)},
          {"delimiters behind a picture", "h264", SmallBytes("h264"), Many("\0\0\1\x09\xF0"s)},
          // Bits of four billion reference frames, buffers and map units would follow.
          {"reference frames", "h264", "", "\0\0\1\x67\x42\0\x1E\xD3\0\0\3\0\1\xFF\xFF\xFF\xFF"s},
          {"buffers", "h264", "", "\0\0\1\x67\x42\0\x1E\xDD\xE8\x20\0\0\3\0\x3F\xFF\xFF\xFF\xFF"s},
          {"map units", "h264", SmallBytes("h264").substr(0, SmallBytes("h264").find("\0\0\1\x68"s)),
           "\0\0\1\x68\xC1\7\0\0\3\0\1\xFF\xFF\xFF\xFF"s},
          {"large pictures", "h264", SmallBytes("h264"),
           "\0\0\1\x09\xF0\0\0\1\x41\x9A"s + std::string(1'083'981, '\xAA')},
          {"sets far behind", "h264", std::string(6U << 20, '\xFF') + SmallBytes("h264"),
           "\0\0\1\x0C"s + std::string(1000, '\xFF')},
          {"units without picture", "h264", SmallBytes("h264"), Many("\0\0\1\x0C\xFF"s)},
          {"empty frames", "aac", "", Many("\xFF\xF1\x50\x40\0\xFF\xFC"s)},
          {"headers alone", "aac", SmallBytes("aac"), Many("\xFF\xF1\x50\x40\0\xFF\xFC"s)},
          {"sync words", "aac", SmallBytes("aac"), Many("\xFF\xF1")},
          {"false starts", "aac", SmallBytes("aac"), Many("\xFF\xF1\x50\x40")},
          {"false starts of long frames", "aac", SmallBytes("aac"), "\xFF\xF1\x50\x83\xFF\xFF\xFC"},
          {"tags", "aac", "", Many("ID3\4\0\0\0\0\0\0"s)},
          {"empty lines", "srt", "", Many("\n")},
          {"numbers", "srt", "", Many("1\n")},
          {"one line", "srt", "", Many("a")},
          {"cues", "srt", "", Many("1\n00:00:01,000 --> 00:00:02,000\na\n\n")},
          {"arrows", "srt", "\xEF\xBB\xBF", Many("00:00:01,000 --> 99999999999999999999:00:02,000\n")},
      });
  return files;
}

TEST(HostileFiles, StayWithinTheirBudgets) {
  SetLogOff();
  for (const Hostile& file : HostileFiles()) {
    for (const std::uint64_t size : {std::uint64_t{11} << 20, 20 * kGiB}) {
      EXPECT_EQ(
          Complaint([&] {
            const HeapWatch heap;
            (void)TakeRoad("hostile."s + file.extension,
                           std::make_shared<EndlessFile>(file.front, file.pattern, size), Use::kProperties);
            Require(heap.PeakBytes() <= static_cast<std::int64_t>(PropertyBudget::kHeap), "16 MiB of heap");
            Require(heap.BytesInUse() == 0, "everything is given back");
          }),
          "")
          << file.name << " in ." << file.extension << " of " << (size >> 20) << " MiB";
    }
  }
}

// What else is asked has no budget, but an end: containers are never searched from front to back.
TEST(HostileFiles, AnswerWhateverAContainerIsAsked) {
  SetLogOff();
  for (const Hostile& file : HostileFiles()) {
    const std::string extension = file.extension;
    if (extension != "mkv" && extension != "avi" && extension != "mp4") continue;
    const auto endless = std::make_shared<EndlessFile>(file.front, file.pattern, 20 * kGiB);
    EXPECT_EQ(Complaint([&] { (void)TakeRoad("hostile." + extension, endless, Use::kEverything); }), "")
        << file.name << " in ." << extension;
  }
}

// Files too long to be walked tell their length by samples: here one stream over and over.
TEST(LongStreams, TellTheirLengthWithinOnePercent) {
  SetLogOff();
  for (const std::string extension : {"h264", "aac"}) {
    const std::string once = SmallBytes(extension);
    const auto durationOf = [&](std::uint64_t times) {
      const auto file = std::make_shared<EndlessFile>("", once, times * once.size());
      const Outcome outcome = TakeRoad("long." + extension, file, Use::kProperties);
      return static_cast<double>(outcome.values[kMediaDuration].value_or(0));
    };
    const double exact = durationOf(100) / 100;
    for (const std::uint64_t times : {20'000ULL, 1'000'000ULL}) {
      const double told = durationOf(times) / static_cast<double>(times);
      EXPECT_NEAR(told, exact, exact / 100) << extension << " " << times;
    }
  }
}

class OddFiles : public testing::Test {
 protected:
  OddFiles() : m_folder(fs::path(testing::TempDir()) / "odd-files") {
    SetLogOff();
    fs::remove_all(m_folder);
    fs::create_directories(m_folder);
  }
  ~OddFiles() override { fs::remove_all(m_folder); }

  // Through the platform's own opening.
  static QMFResult Open(const std::string& path) {
    const FileReader::Counters before = FileReader::TotalCounters();
    QMFContainer* container = nullptr;
    const QMFResult result = OpenContainer(&container, PathFromBytes(path).c_str(), nullptr);
    if (container != nullptr) {
      RequireKnown(SetTitle(container, 0));
      (void)ReadPropertyValues(container);
      RequireKnown(CloseContainer(container));
    }
    EXPECT_LE(FileReader::TotalCounters().bytes - before.bytes, PropertyBudget::kBytesRead) << path;
    return result;
  }

  const fs::path m_folder;
};

TEST_F(OddFiles, SparseFilesOf20GiBAnswerAtOnce) {
  for (const std::string extension : {"mkv", "avi", "mp4", "aac", "h264"}) {
    for (const bool real : {false, true}) {
      const fs::path path = m_folder / ("sparse." + extension);
      std::ofstream(path, std::ios::binary) << (real ? SmallBytes(extension) : "");
      if (::truncate(path.c_str(), static_cast<off_t>(20 * kGiB)) != 0)
        GTEST_SKIP() << "no sparse files here";
      const QMFResult result = Open(path.string());
      RequireKnown(result);
      EXPECT_TRUE(real ? result == QMF_OK : result != QMF_OK) << extension << " " << real;
      fs::remove(path);
    }
  }
}

TEST_F(OddFiles, WhatIsNoFileCannotBeOpened) {
  const auto named = [&](const char* name) { return (m_folder / name).string(); };
  fs::create_directories(named("folder.mkv"));
  ASSERT_EQ(::mkfifo(named("pipe.mkv").c_str(), 0600), 0);
  fs::create_symlink("/dev/zero", named("device.mkv"));
  fs::create_symlink("loop.mkv", named("loop.mkv"));
  const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string socket = fs::relative(named("socket.mkv")).string();
  ASSERT_LT(socket.size(), sizeof(address.sun_path));
  std::memcpy(address.sun_path, socket.c_str(), socket.size());
  ASSERT_EQ(::bind(server, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  const auto descriptors = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
  const auto before = descriptors();
  for (const char* name : {"folder.mkv", "pipe.mkv", "device.mkv", "socket.mkv", "loop.mkv", "missing.mkv"}) {
    EXPECT_EQ(Open(named(name)), QMF_FILE_NOT_OPENED) << name;
  }
  EXPECT_EQ(descriptors(), before);
  ::close(server);
}

TEST_F(OddFiles, WhatNobodyMayReadCannotBeOpened) {
  const fs::path path = m_folder / "secret.mkv";
  std::ofstream(path, std::ios::binary) << SmallBytes("mkv");
  EXPECT_EQ(Open(path.string()), QMF_OK);
  fs::permissions(path, fs::perms::none);
  // No permission stops root, but nobody can be played.
  constexpr uid_t kNobody = 65534;
  const uid_t user = ::geteuid();
  ASSERT_TRUE(user != 0 || ::seteuid(kNobody) == 0);
  EXPECT_EQ(Open(path.string()), QMF_FILE_NOT_OPENED);
  ASSERT_EQ(::seteuid(user), 0);
}

TEST_F(OddFiles, EveryLegalNameCanBeOpened) {
  const std::string bytes = SmallBytes("mkv");
  for (int byte = 1; byte < 256; ++byte) {
    if (byte == '/' || byte == ';') continue;  // A semicolon separates pieces.
    const fs::path path = m_folder / ("a"s + static_cast<char>(byte) + ".mkv");
    std::ofstream(path, std::ios::binary) << bytes;
    EXPECT_EQ(Open(path.string()), QMF_OK) << byte;
    fs::remove(path);
  }
  const fs::path longest = m_folder / (std::string(251, 'n') + ".mkv");
  std::ofstream(longest, std::ios::binary) << bytes;
  EXPECT_EQ(Open(longest.string()), QMF_OK);
}

TEST_F(OddFiles, AFileMayChangeWhileItIsOpen) {
  const fs::path path = m_folder / "changing.mkv";
  std::ofstream(path, std::ios::binary) << SmallBytes("mkv");
  for (const off_t size : {off_t{1000}, off_t{0}, off_t{1} << 30}) {
    QMFContainer* container = nullptr;
    ASSERT_EQ(OpenContainer(&container, PathFromBytes(path.string()).c_str(), nullptr), QMF_OK);
    ASSERT_EQ(::truncate(path.c_str(), size), 0);
    EXPECT_EQ(Complaint([&] {
                RequireKnown(SetTitle(container, 0));
                (void)ReadPropertyValues(container);
              }),
              "");
    EXPECT_EQ(CloseContainer(container), QMF_OK);
    std::ofstream(path, std::ios::binary) << SmallBytes("mkv");
  }
  EXPECT_EQ(Open(path.string()), QMF_OK);
}

}  // namespace
}  // namespace qmf::test
