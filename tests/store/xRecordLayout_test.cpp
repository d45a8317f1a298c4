#include "xRecordLayout.h"

#include <gtest/gtest.h>

#include "xMAmp.h"
#include "xMData.h"
#include "xRecordingPlatform.h"

namespace {

// TzRx with 3 channels and TzRz with 4, two user items, the six angles.
void MakeSmallSurvey(xMData& bin) {
    LongArray channels(100, 109), flags(100, 109);
    channels[107] = 3;
    channels[109] = 4;
    flags[107] = flags[109] = 1;
    bin.InitFromDescriptor(channels, flags, 2);
    bin.SetOrientationItems(6);
}

}  // namespace

// Item positions counted by hand from the record order: six base items, each
// component's leading items and channels, user items, angles.
TEST(RecordLayout, ItemsOfSurveyAndAmplitudeRecords) {
    xRecordingPlatform platform;
    xMData bin;
    MakeSmallSurvey(bin);
    FloatArray taus(1, 4);
    xMAmp amp;
    amp.InitFromData(bin, taus, 0);
    struct Case {
        const xMFile& file;
        long length, rx, rz, rxCount, user;
    };
    // AMP: seven base items, then per component 2 primary items and 2 n + 1 = 9 channels.
    const Case cases[] = {{bin, 21, 6, 9, 3, 13}, {amp, 7 + 11 + 11 + 2 + 6, 9, 20, 9, 29}};
    for (const Case& c : cases) {
        const xRecordLayout layout(c.file);
        EXPECT_EQ(layout.Length(), c.length);
        EXPECT_EQ(layout.FirstChannel(107), c.rx);
        EXPECT_EQ(layout.ChannelCount(107), c.rxCount);
        EXPECT_EQ(layout.FirstChannel(109), c.rz);
        EXPECT_EQ(layout.FirstChannel(101), 0);
        EXPECT_EQ(layout.ChannelCount(101), 0);
        EXPECT_EQ(layout.ChannelCount(100), 0);
        EXPECT_EQ(layout.FirstUserItem(), c.user);
        EXPECT_EQ(layout.UserItems(), 2);
        EXPECT_EQ(layout.FirstOrientationItem(), c.user + 2);
        EXPECT_EQ(layout.OrientationItems(), 6);
    }
    EXPECT_EQ(xRecordLayout(amp).FirstChannel(109), amp.AmplitudeOffset(109));

    std::vector<float> items(21);
    for (std::size_t i = 0; i < items.size(); ++i) items[i] = float(i) * 10.0f;
    const xRecordLayout layout(bin);
    const xRecordView record(layout, items.data());
    EXPECT_EQ(record.Fid(), 0.0f);
    EXPECT_EQ(record.Altitude(), 40.0f);
    EXPECT_EQ(record.Distance(), 50.0f);
    EXPECT_EQ(record.Channels(109)[3], 120.0f);
    EXPECT_TRUE(platform.Texts("error").empty());
}
