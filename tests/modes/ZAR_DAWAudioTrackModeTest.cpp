#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <string>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"

namespace {

std::vector<int> statesOf(const ZAR_DAWAudioTrackMode& mode) {
  return {mode.beforeState(), mode.duringState(), mode.afterState()};
}

TEST(ZAR_DAWAudioTrackMode, NullModeIsOneSharedObjectWithItsFixedValues) {
  const auto first = ZAR_DAWAudioTrackMode::nullTrackMode();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, ZAR_DAWAudioTrackMode::nullTrackMode());
  EXPECT_EQ(first->name(), "none");
  EXPECT_EQ(statesOf(*first), (std::vector{-1, -1, -1}));
  EXPECT_EQ(first->uuid(), "ZAR_DAWAudioTrackModeNullUUID");
}

TEST(ZAR_DAWAudioTrackMode, NewModeHasAFreshUuidNoNameAndPlaysThroughout) {
  const ZAR_DAWAudioTrackMode first;
  const ZAR_DAWAudioTrackMode second;
  EXPECT_FALSE(first.name().has_value());
  EXPECT_EQ(statesOf(first), (std::vector<int>{ZAR_DAWTrackStatePlay, ZAR_DAWTrackStatePlay, ZAR_DAWTrackStatePlay}));
  const std::string uuid = first.uuid().value_or("");
  EXPECT_EQ(uuid.size(), 16u);
  EXPECT_TRUE(std::all_of(uuid.begin(), uuid.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)); }));
  EXPECT_NE(first.uuid(), second.uuid());
  EXPECT_TRUE(first.hasUuid(uuid));
  EXPECT_FALSE(first.hasUuid(uuid.substr(0, 15)));
}

TEST(ZAR_DAWAudioTrackMode, MessageRoundTripGivesAnEqualButDistinctMode) {
  ZAR_DAWAudioTrackMode mode;
  mode.setName("Dub \xC3\x84 \xF0\x9F\x8E\xAC");
  mode.setBeforeState(ZAR_DAWTrackStateInput);
  mode.setDuringState(ZAR_DAWTrackStateRecord);
  // Values outside 0..3 are carried unchanged in both directions.
  mode.setAfterState(static_cast<ZAR_DAWTrackState>(-7));

  ZAR_ProtoDAWAudioTrackMode message;
  mode.fillProtoObject(&message);
  ZAR_ProtoDAWAudioTrackMode reparsed;
  ASSERT_TRUE(reparsed.ParseFromString(message.SerializeAsString()));
  const auto copy = ZAR_DAWAudioTrackMode::createWithProtoObject(&reparsed);

  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy.get(), &mode);
  EXPECT_EQ(copy->name(), mode.name());
  EXPECT_EQ(copy->uuid(), mode.uuid());
  EXPECT_EQ(statesOf(*copy), (std::vector<int>{ZAR_DAWTrackStateInput, ZAR_DAWTrackStateRecord, -7}));
}

TEST(ZAR_DAWAudioTrackMode, EmptyAndAbsentTextsAndPlayAreLeftOffTheWireAndAnEmptyMessageGivesEmptyTextAndPlay) {
  ZAR_DAWAudioTrackMode mode;
  mode.setName("");
  ZAR_ProtoDAWAudioTrackMode message;
  mode.fillProtoObject(&message);
  // Field 2, length-delimited, then the 16 characters: nothing else goes on the wire.
  EXPECT_EQ(message.SerializeAsString(), std::string("\x12\x10") + *mode.uuid());

  mode.setName(std::nullopt);
  mode.setUuid(std::nullopt);
  message.set_name("earlier");
  message.set_uuid("earlier");
  message.set_duringstate(3);
  mode.fillProtoObject(&message);
  EXPECT_EQ(message.SerializeAsString(), "") << "every field is replaced, and empty ones are left out";

  const auto copy = ZAR_DAWAudioTrackMode::createWithProtoObject(&message);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->name(), "");
  EXPECT_EQ(copy->uuid(), "") << "no uuid is generated";
  EXPECT_EQ(statesOf(*copy), (std::vector<int>{ZAR_DAWTrackStatePlay, ZAR_DAWTrackStatePlay, ZAR_DAWTrackStatePlay}));
  EXPECT_EQ(ZAR_DAWAudioTrackMode::createWithProtoObject(nullptr), nullptr);
}

TEST(ZAR_DAWAudioTrackMode, TextIsValidUtf8WhetherReadOrHandedIn) {
  ZAR_ProtoDAWAudioTrackMode message;
  message.set_name("Caf\xE9 Dub");
  message.set_uuid("abc\xFF");
  const auto read = ZAR_DAWAudioTrackMode::createWithProtoObject(&message);
  EXPECT_EQ(read->name(), "Caf\xEF\xBF\xBD Dub");
  EXPECT_EQ(read->uuid(), "abc\xEF\xBF\xBD");

  ZAR_DAWAudioTrackMode handedIn;
  handedIn.setName("Caf\xE9 Dub");
  handedIn.setUuid("abc\xFF");
  handedIn.fillProtoObject(&message);
  EXPECT_EQ(message.name(), "Caf\xEF\xBF\xBD Dub") << "written as valid UTF-8";
  EXPECT_EQ(message.uuid(), "abc\xEF\xBF\xBD");
  handedIn.setName("Caf\xC3\xA9");
  EXPECT_EQ(handedIn.name(), "Caf\xC3\xA9") << "valid text is kept as it is";
}

TEST(ZAR_DAWAudioTrackMode, ReadersSeeWholeNamesWhileAnotherThreadReplacesThem) {
  ZAR_DAWAudioTrackMode mode;
  const std::string shortName = "Mute";
  const std::string longName(200, 'L');
  mode.setName(shortName);
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int i = 0; i < 2000; ++i) {
      mode.setName(i % 2 == 0 ? longName : shortName);
      mode.setBeforeState(static_cast<ZAR_DAWTrackState>(i % 4));
    }
    done = true;
  });
  int torn = 0;
  while (!done) {
    const auto name = mode.name();
    if (name != shortName && name != longName) ++torn;
  }
  writer.join();
  EXPECT_EQ(torn, 0);
}

}  // namespace
