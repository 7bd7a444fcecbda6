#include "tests/propertyhandler/FakeMedia.h"

#include "framework/QueryAnswer.h"
#include "tests/support/FakeModule.h"

namespace qmf::test {
namespace {

FakeMedia served;

QMFVideoFormat Video() {
  QMFVideoFormat format{};
  format.rate = served.rate;
  format.scale = served.scale;
  format.width = served.width;
  format.height = served.height;
  return format;
}

QMFAudioFormat Audio() {
  QMFAudioFormat format{};
  format.channels = served.channels;
  format.samplesPerSec = served.samplesPerSec;
  format.bitsPerSample = served.bitsPerSample;
  return format;
}

QMFResult GetInfo(QMFModuleHandle, std::uint32_t qid, QMFQueryData* data, std::uint32_t) {
  switch (qid) {
    case QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA:
    case QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA:
      return AnswerNumber(*data, qid, 1);
    case QMF_QID_TITLE_DURATION:
      data->value = served.duration;
      return served.durationResult;
    case QMF_QID_VID_STREAM_FORMAT:
      return served.videoResult != QMF_OK ? served.videoResult : AnswerRecord(*data, Video());
    case QMF_QID_AUD_STREAM_FORMAT:
      return served.audioResult != QMF_OK ? served.audioResult : AnswerRecord(*data, Audio());
    default:
      return QMF_ERR_UNSUPPORTED_QID;
  }
}

}  // namespace

void Serve(const FakeMedia& media) {
  ResetFakes();
  served = media;
  Fake(1).score = 100;
  Fake(1).openResult = media.openResult;
  Fake(1).slots.GetInfo = GetInfo;
  Fake(1).slots.SetTitle = [](QMFModuleHandle, std::uint32_t) { return served.titleResult; };
  Fake(1).slots.SetTitleActiveStream = [](QMFModuleHandle, std::uint32_t, std::uint32_t, std::uint32_t) {
    return served.activationResult;
  };
}

}  // namespace qmf::test
