#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <tuple>

#include "streamlib/H264AccessUnits.h"
#include "streamlib/H264HdrAccessUD.h"
#include "streamlib/H264HdrFiller.h"
#include "streamlib/H264HdrPictParSet.h"
#include "streamlib/H264HdrSEI.h"
#include "streamlib/H264HdrSeqParSet.h"
#include "streamlib/H264HdrSlice.h"
#include "streamlib/H264NalUnit.h"
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

template <class Header, class... More>
bool Takes(const Bytes& unit, const More&... more) {
  return Parsed<Header>(unit, more...).IsValid();
}

// Takes `good`, but neither its header alone nor other types nor the forbidden bit.
template <class Header, class... More>
void ExpectToTakeOnly(const Bytes& good, const More&... more) {
  EXPECT_TRUE(Takes<Header>(good, more...));
  for (const std::size_t size : {0U, 1U}) EXPECT_FALSE(Takes<Header>(Cut(good, size), more...)) << size;
  for (const int change : {0x80, 0x1F}) {
    Bytes bad = good;
    bad[0] = static_cast<std::uint8_t>(bad[0] ^ change);
    EXPECT_FALSE(Takes<Header>(bad, more...)) << change;
  }
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

TEST(H264Headers, TakeWholeUnitsOfTheirOwnType) {
  ExpectToTakeOnly<H264HdrSeqParSet>(SpsUnit(PlainSps()));
  ExpectToTakeOnly<H264HdrPictParSet>(PpsUnit());
  ExpectToTakeOnly<H264HdrSlice>(SliceUnit({}), StreamWith());
  ExpectToTakeOnly<H264HdrSEI>(RecoveryPointUnit(), StreamWith());
  ExpectToTakeOnly<H264HdrAccessUD>(Bytes{0x09, 0xF0});
  EXPECT_EQ(Parsed<H264HdrAccessUD>(Bytes{0x09, 0xF0}).primary_pic_type, 7);
  ExpectToTakeOnly<H264HdrFiller>(Bytes{0x0C, 0xFF, 0xFF, 0xFF, 0x80});
  EXPECT_EQ(Parsed<H264HdrFiller>(Bytes{0x0C, 0xFF, 0xFF, 0xFF, 0x80}).filler_bytes, 3U);
  EXPECT_FALSE(Takes<H264HdrFiller>(Bytes{0x0C, 0xFF, 0xFF}));
  EXPECT_FALSE(Takes<H264HdrFiller>(Bytes{0x0C, 0xFF, 0x01, 0x80}));
}

TEST(H264HdrSeqParSet, GivesBackEveryFieldAndFailsWhenAnyOfItIsMissing) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    H264HdrSeqParSet written;
    const Bytes unit = DrawSps(random, written);
    ASSERT_TRUE(Parsed<H264HdrSeqParSet>(unit) == written) << "round " << round;
    const Bytes cut = Cut(unit, random() % (unit.size() - 1));
    ASSERT_FALSE(Takes<H264HdrSeqParSet>(cut)) << "round " << round << ", " << cut.size() << " bytes";
  }
}

TEST(H264HdrSeqParSet, RefusesWhatItsSyntaxDoesNotAllow) {
  const std::pair<const char*, std::function<void(H264HdrSeqParSet&)>> kFaults[] = {
      {"reserved bits", [](H264HdrSeqParSet& s) { s.reserved_zero_4bits = 1; }},
      {"id 32", [](H264HdrSeqParSet& s) { s.seq_parameter_set_id = 32; }},
      {"chroma format 4", [](H264HdrSeqParSet& s) { s.chroma_format_idc = 4; }},
      {"13 bits of luma", [](H264HdrSeqParSet& s) { s.bit_depth_luma_minus8 = 5; }},
      {"13 bits of chroma", [](H264HdrSeqParSet& s) { s.bit_depth_chroma_minus8 = 5; }},
      {"picture order type 3", [](H264HdrSeqParSet& s) { s.pic_order_cnt_type = 3; }},
  };
  H264HdrSeqParSet good = PlainSps();
  good.profile_idc = 100;
  for (const auto& [name, change] : kFaults) {
    H264HdrSeqParSet bad = good;
    change(bad);
    EXPECT_FALSE(Takes<H264HdrSeqParSet>(SpsUnit(bad))) << name;
  }
  good.log2_max_frame_num_minus4 = 40;  // Clamped, not refused.
  EXPECT_TRUE(Takes<H264HdrSeqParSet>(SpsUnit(good)));
  EXPECT_EQ(Parsed<H264HdrSeqParSet>(SpsUnit(good)).log2_max_frame_num_minus4, 28U);
}

TEST(H264HdrSeqParSet, TakesScalingDeltasModulo256) {
  BitWriter w;
  w.Bits(100, 8).Bits(0, 8).Bits(30, 8).UE(0);                    // profile to id
  w.UE(1).UE(0).UE(0).Bits(0, 1).Bits(1, 1);                      // chroma to matrix flag
  w.Bits(1, 1).SE(-0x7FFFFFFF).SE(0x7FFFFFFF).SE(-8).Bits(0, 7);  // 9, then 8, then 0: the rest is 8
  w.UE(0).UE(2).UE(1).Bits(0, 1).UE(3).UE(2).Bits(0b1'1'0'0, 4);
  const H264HdrSeqParSet parsed = Parsed<H264HdrSeqParSet>(NalUnit(0x67, w.Trailing().Bytes()));
  EXPECT_TRUE(parsed.IsValid());
  const auto& list = parsed.scaling_list_4x4[0];
  EXPECT_EQ(std::tuple(list[0], list[1], list[15]), std::tuple(9, 8, 8));
  EXPECT_EQ(parsed.use_default_scaling_matrix_4x4_flag[0], 0);
}

TEST(H264NalUnit, NamesTypes) {
  for (const auto& [type, name] :
       {std::pair{0, "unspec"}, {5, "idr slice"}, {13, "sps ext"}, {14, "14"}, {31, "31"}}) {
    EXPECT_STREQ(SPL_H264::NalUnitTypeName(static_cast<std::uint8_t>(type)), name);
  }
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
    EXPECT_EQ(
        std::tuple(pps.IsValid(), pps.pic_parameter_set_id, pps.seq_parameter_set_id,
                   pps.num_slice_groups_minus1, pps.num_ref_idx_l0_default_active_minus1,
                   pps.weighted_bipred_idc, pps.chroma_qp_index_offset, pps.redundant_pic_cnt_present_flag),
        std::tuple(true, 200U, 31U, 2U, 3U, 2, -12, 1))
        << type;
  }
}

TEST(H264HdrPictParSet, RefusesWhatItsSyntaxDoesNotAllow) {
  for (const Bytes& unit : {PpsUnit(256), PpsUnit(0, 32), PpsUnit(0, 0, 9)}) {
    EXPECT_FALSE(Takes<H264HdrPictParSet>(unit));
  }
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
  EXPECT_EQ(std::tuple(slice.IsValid(), slice.IsIdr(), slice.first_mb_in_slice, slice.slice_type,
                       slice.colour_plane_id, slice.frame_num, slice.bottom_field_flag, slice.idr_pic_id,
                       slice.delta_pic_order_cnt[0]),
            std::tuple(true, true, 17U, 7U, 2, 0x55U, 1, 9U, -3));

  EXPECT_FALSE(Takes<H264HdrSlice>(SliceUnit({.ppsId = 1}), stream));
  EXPECT_FALSE(Takes<H264HdrSlice>(SliceUnit({.sliceType = 10}), stream));
  EXPECT_FALSE(Takes<H264HdrSlice>(SliceUnit({}), H264Stream()));
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
  EXPECT_EQ(std::tuple(sei.pic_timing_present, sei.cpb_removal_delay, sei.dpb_output_delay, sei.pic_struct,
                       sei.recovery_point_present, sei.recovery_frame_cnt, sei.broken_link_flag,
                       sei.changing_slice_group_idc),
            std::tuple(true, 513U, 33U, 5, true, 2U, 1, 2));

  // Sizes beyond the unit, and a unit that ends within a message.
  EXPECT_FALSE(Takes<H264HdrSEI>(NalUnit(0x06, Bytes{6, 0xFF, 0xFF, 0xFF, 0xFF}), stream));
  EXPECT_FALSE(Parsed<H264HdrSEI>(NalUnit(0x06, Bytes{6, 9, 0x80}), stream).recovery_point_present);
}

class H264AccessUnitsTest : public testing::Test {
 protected:
  H264AccessUnitsTest() { m_sps.frame_mbs_only_flag = 0; }
  bool Add(const Bytes& unit) { return m_units.Add(unit.data(), static_cast<std::int32_t>(unit.size())); }

  H264HdrSeqParSet m_sps = PlainSps();
  H264AccessUnits m_units;
};

TEST_F(H264AccessUnitsTest, AreToldApartByEachMemberOfAPicturesIdentity) {
  for (const Bytes& unit :
       {SpsUnit(m_sps), PpsUnit(), PpsUnit(1), SliceUnit({.type = 5, .field = 0, .idrPicId = 1})}) {
    EXPECT_FALSE(Add(unit));
  }
  // Each differs from the one in front of it by that member alone.
  const std::pair<const char*, SliceFields> kPictures[] = {
      {"field instead of frame", {.type = 5, .field = 1, .idrPicId = 1}},
      {"other field", {.type = 5, .field = 2, .idrPicId = 1}},
      {"IDR id", {.type = 5, .field = 2}},
      {"IDR or not", {.field = 2}},
      {"frame number", {.frameNum = 3, .field = 2}},
      {"picture order", {.frameNum = 3, .field = 2, .orderLsb = 4}},
      {"parameter set", {.ppsId = 1, .frameNum = 3, .field = 2, .orderLsb = 4}},
      {"reference or not", {.refIdc = 0, .ppsId = 1, .frameNum = 3, .field = 2, .orderLsb = 4}},
  };
  for (auto [name, fields] : kPictures) {
    fields.firstMb = 6;
    EXPECT_TRUE(Add(SliceUnit(fields))) << name;
    fields.firstMb = 0;
    fields.sliceType = 2;
    if (fields.refIdc != 0) fields.refIdc = 1;
    EXPECT_FALSE(Add(SliceUnit(fields))) << name;
  }
}

TEST_F(H264AccessUnitsTest, BeginWithWhatPrecedesAPictureOrWithItsFirstSlice) {
  const Bytes delimiter = {0x09, 0xF0};
  const Bytes prefix = {0x6E, 0x80, 0x00, 0x07};
  struct Step {
    const char* name;
    Bytes unit;
    bool starts, isRecovery, isField;
  };
  const Step kSteps[] = {
      {"delimiter in front", delimiter, false, false, false},
      {"sps", SpsUnit(m_sps), false, false, false},
      {"pps", PpsUnit(), false, false, false},
      {"IDR slice", SliceUnit({.type = 5, .field = 0}), false, true, false},
      {"prefix of a second slice", prefix, false, true, false},
      {"its second slice", SliceUnit({.type = 5, .firstMb = 6, .field = 0}), false, true, false},
      {"filler", Bytes{0x0C, 0xFF, 0x80}, false, true, false},
      {"IDR picture of the same number", SliceUnit({.type = 5, .field = 0}), true, true, false},
      {"delimiter", delimiter, true, false, false},
      {"recovery point", RecoveryPointUnit(), false, true, false},
      {"top field", SliceUnit({.frameNum = 1, .field = 1, .orderLsb = 2}), false, true, true},
      {"bottom field", SliceUnit({.frameNum = 1, .field = 2, .orderLsb = 2}), true, false, true},
      {"end of sequence", Bytes{0x0A}, false, false, true},
      {"pps again", PpsUnit(), true, false, false},
      {"slice of an unknown set", SliceUnit({.ppsId = 7, .field = 0}), false, false, false},
      {"its second slice", SliceUnit({.firstMb = 4, .ppsId = 7, .field = 0}), false, false, false},
      {"the next of its kind", SliceUnit({.ppsId = 7, .field = 0}), true, false, false},
      {"pps of redundant pictures", PpsUnit(2, 0, 1, true), true, false, false},
      {"primary slice", SliceUnit({.ppsId = 2, .field = 0, .redundant = 0}), false, false, false},
      {"redundant slice", SliceUnit({.ppsId = 2, .field = 0, .redundant = 1}), false, false, false},
      {"the next primary slice", SliceUnit({.ppsId = 2, .field = 0, .redundant = 0}), true, false, false},
  };
  for (const Step& step : kSteps) {
    const bool starts = Add(step.unit);
    EXPECT_EQ(std::tuple(starts, m_units.Current().isRecovery, m_units.Current().isField),
              std::tuple(step.starts, step.isRecovery, step.isField))
        << step.name;
  }
}

}  // namespace
}  // namespace qmf::test
