#include "Core/BasicException.h"
#include "Core/StdioWriter.h"
#include "Playback/PlaybackEnvironment.h"
#include "Util/Time.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

namespace {

TEST(Runtime, ExceptionCrossesTheLibraries)
{
    try {
        const Util::Time time(static_cast<Util::Time::TimeResolution>(4));
        FAIL();
    } catch (const std::exception& exception) {
        EXPECT_NE(dynamic_cast<const Core::BasicException*>(&exception), nullptr);
        EXPECT_STREQ(exception.what(), "Unrecognized timer resolution.");
    }
}

TEST(Runtime, PlaybackEnvironmentIsMadeOnce)
{
    using Playback::PlaybackEnvironment;
    PlaybackEnvironment& environment = PlaybackEnvironment::Instance();
    EXPECT_EQ(PlaybackEnvironment::m_pInstance, &environment);
    environment.m_opaqueScreenshots = true;
    EXPECT_TRUE(PlaybackEnvironment::Instance().m_opaqueScreenshots);
    environment.InitDefaultSettings();
    EXPECT_FALSE(environment.m_opaqueScreenshots);
}

TEST(Runtime, ThreadsThatComeFirstAtOnceGetOneInstance)
{
    using Playback::PlaybackEnvironment;
    PlaybackEnvironment* const before = PlaybackEnvironment::m_pInstance;
    for (int round = 0; round < 1000; ++round) {
        PlaybackEnvironment::m_pInstance = nullptr;
        std::atomic<int> ready = 0;
        const auto make = [&ready] {
            for (++ready; ready < 2;) {
            }
            return &PlaybackEnvironment::Instance();
        };
        PlaybackEnvironment* others = nullptr;
        std::thread other([&] { others = make(); });
        const std::unique_ptr<PlaybackEnvironment> own(make());
        other.join();
        ASSERT_EQ(own.get(), others);
    }
    PlaybackEnvironment::m_pInstance = before;
}

TEST(Runtime, StdioWriter)
{
    const TestSupport::TemporaryFolder folder;
    const std::string name = folder.File("file");
    {
        Core::StdioWriter writer(name, false, false);
        EXPECT_EQ(writer.Write("x"), 1U) << "not open";
        EXPECT_EQ(writer.Open(), 0U);
        EXPECT_EQ(writer.Open(), 0U);
        EXPECT_EQ(writer.Write("one"), 0U);
        EXPECT_EQ(TestSupport::ReadFile(name), "") << "held back";
    }
    Core::StdioWriter afresh(name, true, true);
    EXPECT_EQ(TestSupport::ReadFile(name), "one") << "until it is opened";
    EXPECT_EQ(afresh.Open(), 0U);
    EXPECT_EQ(TestSupport::ReadFile(name), "");

    EXPECT_EQ(Core::StdioWriter(folder.Path(), true, true).Open(), 1U);
    Core::StdioWriter full("/dev/full", true, true);
    EXPECT_EQ(full.Open(), 0U);
    EXPECT_EQ(full.Write("x"), 1U) << "a full disk";
}

} // namespace
