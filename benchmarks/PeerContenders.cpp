#include "benchmarks/Contenders.h"

#ifdef QMF_WITH_AVFORMAT
extern "C" {
#include <libavformat/avformat.h>
}
#endif
#ifdef QMF_WITH_MEDIAINFO
#define UNICODE  // As the distribution builds the library.
#include <MediaInfo/MediaInfo.h>
#endif

namespace qmf::bench {

#ifdef QMF_WITH_AVFORMAT
namespace {

AVFormatContext* OpenWithAvformat(const std::string& file, bool streamInfo, int flags = 0) {
  AVFormatContext* context = avformat_alloc_context();
  context->flags |= flags;
  if (avformat_open_input(&context, file.c_str(), nullptr, nullptr) < 0) return nullptr;
  if (!streamInfo || avformat_find_stream_info(context, nullptr) >= 0) return context;
  avformat_close_input(&context);
  return nullptr;
}

template <bool streamInfo>
bool RunAvformat(const std::string& file) {
  AVFormatContext* context = OpenWithAvformat(file, streamInfo);
  if (context == nullptr) return false;
  avformat_close_input(&context);
  return true;
}

// Packets as they come, or with `flags` that keep the library from doing more than we do.
template <int flags>
double ReadPackets(const std::string& file) {
  AVFormatContext* context = OpenWithAvformat(file, flags == 0, flags);
  if (context == nullptr) return -1;
  AVPacket* packet = av_packet_alloc();
  const double start = ProcessorTime();
  while (av_read_frame(context, packet) >= 0) av_packet_unref(packet);
  const double seconds = ProcessorTime() - start;
  av_packet_free(&packet);
  avformat_close_input(&context);
  return seconds;
}

}  // namespace
#endif

#ifdef QMF_WITH_MEDIAINFO
namespace {

// Asks for one value of each kind; the library reads all of them when it opens a file.
bool RunMediaInfo(const std::string& file) {
  using MediaInfoLib::MediaInfo;
  MediaInfo info;
  if (info.Open(std::wstring(file.begin(), file.end())) == 0) return false;
  (void)info.Get(MediaInfoLib::Stream_General, 0, L"Duration");
  (void)info.Get(MediaInfoLib::Stream_Video, 0, L"Width");
  (void)info.Get(MediaInfoLib::Stream_Audio, 0, L"SamplingRate");
  info.Close();
  return true;
}

}  // namespace
#endif

std::vector<Contender> PeerContenders() {
  std::vector<Contender> contenders;
#ifdef QMF_WITH_AVFORMAT
  av_log_set_level(AV_LOG_QUIET);
  contenders.push_back({"avformat", RunAvformat<false>});
  contenders.push_back({"avformat-info", RunAvformat<true>});
#endif
#ifdef QMF_WITH_MEDIAINFO
  contenders.push_back({"mediainfo", RunMediaInfo});
#endif
  return contenders;
}

std::vector<BlockContender> PeerBlockContenders() {
  std::vector<BlockContender> contenders;
#ifdef QMF_WITH_AVFORMAT
  contenders.push_back({"avformat", ReadPackets<0>});
  contenders.push_back({"avformat-bare", ReadPackets<AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN>});
#endif
  return contenders;
}

}  // namespace qmf::bench
