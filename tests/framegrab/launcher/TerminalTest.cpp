#include "launcher/Terminal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <pty.h>
#include <string>
#include <unistd.h>

namespace Framegrab {

namespace {

TEST(TerminalTest, ProgressFitsAndMakesWay)
{
    int outside = -1;
    int inside = -1;
    const winsize narrow{.ws_row = 24, .ws_col = 20, .ws_xpixel = 0, .ws_ypixel = 0};
    ASSERT_EQ(openpty(&outside, &inside, nullptr, nullptr, &narrow), 0);
    const auto sent = [outside] {
        std::array<char, 4096> bytes{};
        const ssize_t size = read(outside, bytes.data(), bytes.size());
        return std::string(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    };
    Terminal terminal(inside);
    terminal.ShowProgress("frame 1 of 999999999 frames");
    EXPECT_EQ(sent(), "frame 1 of 99999999\r") << "without the last column, which would begin a new line";
    terminal.ShowProgress("frame 2");
    EXPECT_EQ(sent(), std::string(19, ' ') + "\rframe 2\r");
    terminal.WriteLine("a line");
    EXPECT_EQ(sent(), "       \ra line\r\n");
    terminal.ShowProgress("frame 3");
    terminal.ShowProgress("");
    terminal.ShowProgress("");
    EXPECT_EQ(sent(), "frame 3\r       \r");
    close(inside);
    close(outside);
}

} // namespace

} // namespace Framegrab
