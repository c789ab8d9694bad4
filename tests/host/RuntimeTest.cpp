#include "Core/BasicException.h"
#include "Core/StdioWriter.h"
#include "Core/System.h"
#include "Playback/PlaybackEnvironment.h"
#include "Util/Time.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

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
    EXPECT_EQ(PlaybackEnvironment::m_pInstance, nullptr);
    PlaybackEnvironment& environment = PlaybackEnvironment::Instance();
    EXPECT_EQ(PlaybackEnvironment::m_pInstance, &environment);
    EXPECT_FALSE(environment.m_opaqueScreenshots);
    environment.m_opaqueScreenshots = true;
    EXPECT_TRUE(PlaybackEnvironment::Instance().m_opaqueScreenshots);
    environment.InitDefaultSettings();
    EXPECT_FALSE(environment.m_opaqueScreenshots);
}

TEST(Runtime, SnprintfCutsAndTells)
{
    char text[5] = "xxxx";
    EXPECT_EQ(Core::System::Snprintf(text, sizeof(text), "%d", 1234567), 7);
    EXPECT_STREQ(text, "1234");
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
        EXPECT_EQ(writer.Write("one "), 0U);
        EXPECT_EQ(TestSupport::ReadFile(name), "") << "held back";
    }
    {
        Core::StdioWriter writer(name, false, true);
        EXPECT_EQ(writer.Open(), 0U);
        EXPECT_EQ(writer.Write("two"), 0U);
        EXPECT_EQ(TestSupport::ReadFile(name), "one two");
    }
    Core::StdioWriter afresh(name, true, true);
    EXPECT_EQ(TestSupport::ReadFile(name), "one two") << "not before it is opened";
    EXPECT_EQ(afresh.Open(), 0U);
    EXPECT_EQ(TestSupport::ReadFile(name), "");

    Core::StdioWriter folderItself(folder.Path(), true, true);
    EXPECT_EQ(folderItself.Open(), 1U);
    Core::StdioWriter full("/dev/full", true, true);
    EXPECT_EQ(full.Open(), 0U);
    EXPECT_EQ(full.Write("x"), 1U) << "a full disk";
}

} // namespace
