#include "tools/qmfinfo/Peers.h"

#include <charconv>

#include "tools/qmfinfo/ChildProcess.h"
#include "tools/qmfinfo/Output.h"

namespace qmfinfo {
namespace {

constexpr double kUnitsPerSecond = 1e7;

// A number, also one that stands as text; nothing where there is none.
std::optional<double> Number(const Json& object, const char* key, double unit = 1) {
  const auto found = object.find(key);
  if (found == object.end()) return std::nullopt;
  if (found->is_number()) return found->get<double>() * unit;
  if (!found->is_string()) return std::nullopt;
  const auto& text = found->get_ref<const std::string&>();
  double value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() ? std::optional(value * unit) : std::nullopt;
}

// "30000/1001" in frames per 1000 seconds.
std::optional<double> FrameRate(const std::string& text) {
  const std::size_t slash = text.find('/');
  if (slash == std::string::npos) return std::nullopt;
  const Json parts = {{"rate", text.substr(0, slash)}, {"scale", text.substr(slash + 1)}};
  const auto rate = Number(parts, "rate");
  const auto scale = Number(parts, "scale");
  return rate && scale && *scale > 0 ? std::optional(*rate / *scale * 1000) : std::nullopt;
}

Json Child(const Json& object, const char* key) {
  return object.is_object() ? object.value(key, Json::object()) : Json::object();
}

// The first element of `list` whose `key` is `value`; an empty object when there is none.
Json First(const Json& list, const char* key, const char* value) {
  for (const Json& element : list) {
    if (element.is_object() && element.value(key, "") == value) return element;
  }
  return Json::object();
}

// ffprobe's 0 stands for a size that the coding does not have.
std::optional<double> FfprobeSampleSize(const Json& audio) {
  for (const char* key : {"bits_per_sample", "bits_per_raw_sample"}) {
    const auto bits = Number(audio, key);
    if (bits && *bits > 0) return bits;
  }
  return std::nullopt;
}

PeerValues Ffprobe(const Json& found) {
  const Json streams = Child(found, "streams");
  const Json video = First(streams, "codec_type", "video");
  const Json audio = First(streams, "codec_type", "audio");
  return {"ffprobe",
          {Number(Child(found, "format"), "duration", kUnitsPerSecond), Number(video, "width"),
           Number(video, "height"), FrameRate(video.value("r_frame_rate", "")), Number(audio, "channels"),
           Number(audio, "sample_rate"), FfprobeSampleSize(audio)}};
}

PeerValues Mediainfo(const Json& found) {
  const Json tracks = Child(Child(found, "media"), "track");
  const Json video = First(tracks, "@type", "Video");
  const Json audio = First(tracks, "@type", "Audio");
  return {"mediainfo",
          {Number(First(tracks, "@type", "General"), "Duration", kUnitsPerSecond), Number(video, "Width"),
           Number(video, "Height"), Number(video, "FrameRate", 1000), Number(audio, "Channels"),
           Number(audio, "SamplingRate"), Number(audio, "BitDepth")}};
}

PeerValues Mkvmerge(const Json& found) {
  const Json tracks = Child(found, "tracks");
  const Json video = Child(First(tracks, "type", "video"), "properties");
  const Json audio = Child(First(tracks, "type", "audio"), "properties");
  const std::string size = video.value("pixel_dimensions", "");
  const std::size_t cross = size.find('x');
  const Json sides = {{"width", size.substr(0, cross)},
                      {"height", cross == std::string::npos ? "" : size.substr(cross + 1)}};
  std::optional<double> rate = Number(video, "default_duration");
  if (rate) rate = *rate > 0 ? std::optional(1e12 / *rate) : std::nullopt;
  return {"mkvmerge",
          {Number(Child(Child(found, "container"), "properties"), "duration", 0.01), Number(sides, "width"),
           Number(sides, "height"), rate, Number(audio, "audio_channels"),
           Number(audio, "audio_sampling_frequency"), Number(audio, "audio_bits_per_sample")}};
}

struct Peer {
  std::vector<std::u16string> words;
  PeerValues (*read)(const Json&);
};

}  // namespace

std::vector<PeerValues> AskPeers(const std::u16string& path) {
  // Whatever the name begins with, it is not an option.
  const std::u16string name = path.starts_with(u'-') ? u"./" + path : path;
  const Peer peers[] = {
      {{u"ffprobe", u"-v", u"error", u"-of", u"json", u"-show_format", u"-show_streams", name}, Ffprobe},
      {{u"mediainfo", u"--Output=JSON", name}, Mediainfo},
      {{u"mkvmerge", u"-J", name}, Mkvmerge},
  };
  std::vector<PeerValues> all;
  for (const Peer& peer : peers) {
    const std::optional<std::string> output = OutputOf(peer.words);
    const Json found = Json::parse(output.value_or(""), nullptr, false);
    if (!found.is_object()) continue;
    const PeerValues values = peer.read(found);
    const auto known = [](const auto& value) { return value.has_value(); };
    if (std::any_of(values.values.begin(), values.values.end(), known)) all.push_back(values);
  }
  return all;
}

}  // namespace qmfinfo
