#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "streamlib/H264AccessUnits.h"
#include "streamlib/H264HdrAccessUD.h"
#include "streamlib/H264HdrFiller.h"
#include "streamlib/H264HdrPictParSet.h"
#include "streamlib/H264HdrSEI.h"
#include "streamlib/H264HdrSlice.h"
#include "tests/support/H264Writer.h"

namespace qmf::test {
namespace {

using namespace SPL_H264;

template <class Header, class... More>
Header Parsed(const Bytes& unit, const More&... more) {
  Header header;
  const bool parsed = header.Parse(unit.data(), static_cast<std::int32_t>(unit.size()), more...);
  EXPECT_EQ(parsed, header.IsValid());
  return header;
}

// The stream after the sets of PlainSps, changed by `change`, and PpsUnit.
H264Stream StreamWith(const std::function<void(H264HdrSeqParSet&)>& change = nullptr) {
  H264HdrSeqParSet sps = PlainSps();
  if (change) change(sps);
  H264Stream stream;
  stream.Keep(Parsed<H264HdrSeqParSet>(SpsUnit(sps)));
  stream.Keep(Parsed<H264HdrPictParSet>(PpsUnit()));
  return stream;
}

TEST(H264HdrPictParSet, ReadsOverTheMapsOfSliceGroups) {
  const std::pair<std::uint32_t, std::function<void(BitWriter&)>> kMaps[] = {
      {0, [](BitWriter& w) { w.UE(5).UE(6).UE(7); }},
      {1, [](BitWriter&) {}},
      {2, [](BitWriter& w) { w.UE(0).UE(9).UE(3).UE(8); }},
      {4, [](BitWriter& w) { w.Bits(1, 1).UE(3); }},
      {6, [](BitWriter& w) { w.UE(4).Bits(0b00'01'10'01'00, 10); }},
  };
  for (const auto& [type, writeMap] : kMaps) {
    BitWriter w;
    w.UE(200).UE(31).Bits(0b11, 2).UE(2).UE(type);
    writeMap(w);
    w.UE(3).UE(1).Bits(1, 1).Bits(2, 2).SE(-5).SE(4).SE(-12).Bits(0b101, 3).Trailing();
    const auto pps = Parsed<H264HdrPictParSet>(NalUnit(0x68, w.Bytes()));
    EXPECT_TRUE(pps.IsValid()) << type;
    EXPECT_EQ(std::tuple(pps.pic_parameter_set_id, pps.seq_parameter_set_id, pps.num_slice_groups_minus1,
                         pps.num_ref_idx_l0_default_active_minus1, pps.weighted_bipred_idc,
                         pps.chroma_qp_index_offset, pps.redundant_pic_cnt_present_flag),
              std::tuple(200U, 31U, 2U, 3U, 2, -12, 1))
        << type;
  }
}

TEST(H264HdrPictParSet, RefusesWhatItsSyntaxDoesNotAllow) {
  EXPECT_FALSE(Parsed<H264HdrPictParSet>(PpsUnit(256)).IsValid());
  EXPECT_FALSE(Parsed<H264HdrPictParSet>(PpsUnit(0, 32)).IsValid());
  EXPECT_FALSE(Parsed<H264HdrPictParSet>(PpsUnit(0, 0, 9)).IsValid());
  EXPECT_FALSE(Parsed<H264HdrPictParSet>(SpsUnit(PlainSps())).IsValid());
}

TEST(H264HdrSlice, ReadsWhatTheParameterSetsSay) {
  H264Stream stream = StreamWith([](H264HdrSeqParSet& s) {
    s.profile_idc = 244;
    s.chroma_format_idc = 3;
    s.separate_colour_plane_flag = 1;
    s.log2_max_frame_num_minus4 = 3;
    s.pic_order_cnt_type = 1;
    s.frame_mbs_only_flag = 0;
  });
  BitWriter w;
  w.UE(17).UE(7).UE(0).Bits(2, 2).Bits(0x55, 7).Bits(0b11, 2).UE(9).SE(-3).Trailing();
  const auto slice = Parsed<H264HdrSlice>(NalUnit(0x65, w.Bytes()), stream);
  EXPECT_TRUE(slice.IsValid());
  EXPECT_TRUE(slice.IsIdr());
  EXPECT_EQ(std::tuple(slice.first_mb_in_slice, slice.slice_type, slice.colour_plane_id, slice.frame_num,
                       slice.bottom_field_flag, slice.idr_pic_id, slice.delta_pic_order_cnt[0]),
            std::tuple(17U, 7U, 2, 0x55U, 1, 9U, -3));

  EXPECT_FALSE(Parsed<H264HdrSlice>(SliceUnit({.ppsId = 1}), stream).IsValid());
  EXPECT_FALSE(Parsed<H264HdrSlice>(SliceUnit({.sliceType = 10}), stream).IsValid());
  EXPECT_FALSE(Parsed<H264HdrSlice>(SliceUnit({}), H264Stream()).IsValid());
  EXPECT_FALSE(Parsed<H264HdrSlice>(PpsUnit(), stream).IsValid());
}

TEST(H264HdrSlice, TellsPicturesApart) {
  H264Stream stream = StreamWith([](H264HdrSeqParSet& s) { s.frame_mbs_only_flag = 0; });
  stream.Keep(Parsed<H264HdrPictParSet>(PpsUnit(1)));
  const SliceFields base = {.type = 5, .frameNum = 3, .field = 1, .orderLsb = 4};
  const std::pair<const char*, std::function<void(SliceFields&)>> kChanges[] = {
      {"frame number", [](SliceFields& f) { f.frameNum = 4; }},
      {"parameter set", [](SliceFields& f) { f.ppsId = 1; }},
      {"frame instead of field", [](SliceFields& f) { f.field = 0; }},
      {"other field", [](SliceFields& f) { f.field = 2; }},
      {"reference or not", [](SliceFields& f) { f.refIdc = 0; }},
      {"IDR or not", [](SliceFields& f) { f.type = 1; }},
      {"IDR id", [](SliceFields& f) { f.idrPicId = 1; }},
      {"picture order", [](SliceFields& f) { f.orderLsb = 5; }},
  };
  const auto previous = Parsed<H264HdrSlice>(SliceUnit(base), stream);
  for (const auto& [name, change] : kChanges) {
    SliceFields changed = base;
    change(changed);
    EXPECT_TRUE(Parsed<H264HdrSlice>(SliceUnit(changed), stream).StartsPictureAfter(previous)) << name;
  }
  SliceFields same = base;
  same.firstMb = 20;
  same.sliceType = 2;
  same.refIdc = 1;
  EXPECT_FALSE(Parsed<H264HdrSlice>(SliceUnit(same), stream).StartsPictureAfter(previous));

  const H264Stream nothing;
  EXPECT_TRUE(Parsed<H264HdrSlice>(SliceUnit(base), nothing).StartsPictureAfter(previous));
  EXPECT_FALSE(Parsed<H264HdrSlice>(SliceUnit(same), nothing).StartsPictureAfter(previous));
}

TEST(H264HdrSEI, FindsRecoveryPointAndPictureTimingAmongOtherMessages) {
  const H264Stream stream = StreamWith([](H264HdrSeqParSet& s) {
    s.nal_hrd_parameters_present_flag = 1;
    s.cpb_removal_delay_length = 10;
    s.dpb_output_delay_length = 6;
    s.pic_struct_present_flag = 1;
  });
  BitWriter w;
  w.Bits(0xFF, 8).Bits(0x10, 8).Bits(0xFF, 8).Bits(1, 8);  // a message of type 271 and 256 bytes
  for (int i = 0; i < 256; ++i) w.Bits(0xFF, 8);
  w.Bits(1, 8).Bits(4, 8).Bits(513, 10).Bits(33, 6).Bits(5, 4).Bits(0, 12);
  w.Bits(6, 8).Bits(1, 8).UE(2).Bits(1, 1).Bits(1, 1).Bits(2, 2).Bits(0, 1).Trailing();
  const auto sei = Parsed<H264HdrSEI>(NalUnit(0x06, w.Bytes()), stream);
  EXPECT_TRUE(sei.pic_timing_present);
  EXPECT_TRUE(sei.recovery_point_present);
  EXPECT_EQ(std::tuple(sei.cpb_removal_delay, sei.dpb_output_delay, sei.pic_struct, sei.recovery_frame_cnt,
                       sei.broken_link_flag, sei.changing_slice_group_idc),
            std::tuple(513U, 33U, 5, 2U, 1, 2));

  // Sizes beyond the unit, and a unit that ends within a message.
  EXPECT_FALSE(Parsed<H264HdrSEI>(NalUnit(0x06, Bytes{6, 0xFF, 0xFF, 0xFF, 0xFF}), stream).IsValid());
  EXPECT_FALSE(Parsed<H264HdrSEI>(NalUnit(0x06, Bytes{6, 9, 0x80}), stream).recovery_point_present);
  EXPECT_FALSE(Parsed<H264HdrSEI>(NalUnit(0x06, Bytes{}), stream).IsValid());
}

TEST(H264Headers, DelimitersAndFiller) {
  EXPECT_EQ(Parsed<H264HdrAccessUD>(Bytes{0x09, 0xF0}).primary_pic_type, 7);
  EXPECT_FALSE(Parsed<H264HdrAccessUD>(Bytes{0x09}).IsValid());
  EXPECT_FALSE(Parsed<H264HdrAccessUD>(Bytes{0x89, 0xF0}).IsValid());
  EXPECT_EQ(Parsed<H264HdrFiller>(Bytes{0x0C, 0xFF, 0xFF, 0xFF, 0x80}).filler_bytes, 3U);
  EXPECT_FALSE(Parsed<H264HdrFiller>(Bytes{0x0C, 0xFF, 0xFF}).IsValid());
  EXPECT_FALSE(Parsed<H264HdrFiller>(Bytes{0x0C, 0xFF, 0x01, 0x80}).IsValid());
}

TEST(H264AccessUnits, BeginWithWhatPrecedesAPictureOrWithItsFirstSlice) {
  const Bytes delimiter = {0x09, 0xF0};
  const Bytes filler = {0x0C, 0xFF, 0x80};
  const Bytes endOfSequence = {0x0A};
  H264HdrSeqParSet sps = PlainSps();
  sps.frame_mbs_only_flag = 0;
  struct Step {
    const char* name;
    Bytes unit;
    bool starts;
    bool isRecovery;
    bool isField;
  };
  const Step kSteps[] = {
      {"delimiter in front", delimiter, false, false, false},
      {"sps", SpsUnit(sps), false, false, false},
      {"pps", PpsUnit(), false, false, false},
      {"IDR slice", SliceUnit({.type = 5, .field = 0}), false, true, false},
      {"its second slice", SliceUnit({.type = 5, .firstMb = 6, .field = 0}), false, true, false},
      {"filler", filler, false, true, false},
      {"delimiter", delimiter, true, false, false},
      {"recovery point", RecoveryPointUnit(), false, true, false},
      {"top field", SliceUnit({.frameNum = 1, .field = 1, .orderLsb = 2}), false, true, true},
      {"bottom field", SliceUnit({.frameNum = 1, .field = 2, .orderLsb = 2}), true, false, true},
      {"end of sequence", endOfSequence, false, false, true},
      {"pps again", PpsUnit(), true, false, false},
      {"slice of an unknown set", SliceUnit({.ppsId = 7, .field = 0}), false, false, false},
      {"its second slice", SliceUnit({.firstMb = 4, .ppsId = 7, .field = 0}), false, false, false},
      {"the next of its kind", SliceUnit({.ppsId = 7, .field = 0}), true, false, false},
  };
  H264AccessUnits units;
  for (const Step& step : kSteps) {
    EXPECT_EQ(units.Add(step.unit.data(), static_cast<std::int32_t>(step.unit.size())), step.starts)
        << step.name;
    EXPECT_EQ(units.Current().isRecovery, step.isRecovery) << step.name;
    EXPECT_EQ(units.Current().isField, step.isField) << step.name;
  }
}

}  // namespace
}  // namespace qmf::test
