#include "launcher/Terminal.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

namespace Framegrab {

namespace {

/// A terminal as wide as a test wants it, and what it shows.
class Screen
{
public:
    explicit Screen(unsigned short columns) : m_columns(columns)
    {
        const winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        EXPECT_EQ(openpty(&m_outside, &inside, nullptr, nullptr, &size), 0);
        fcntl(m_outside, F_SETFL, O_NONBLOCK);
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;
    ~Screen()
    {
        close(m_outside);
        close(inside);
    }

    /// @return all lines, the last one without blanks at its end
    std::string Text()
    {
        char bytes[4096];
        for (ssize_t size = 0; (size = read(m_outside, bytes, sizeof(bytes))) > 0;) {
            for (const char byte : std::string_view(bytes, static_cast<std::size_t>(size))) {
                Put(byte);
            }
        }
        return m_above + m_line.substr(0, m_line.find_last_not_of(' ') + 1);
    }

    int inside = -1;

private:
    void Put(char byte)
    {
        if (byte == '\r') {
            m_column = 0;
        } else if (byte == '\n') {
            m_above += m_line.substr(0, m_line.find_last_not_of(' ') + 1) + "\n";
            m_line.clear();
        } else {
            m_line.resize(std::max(m_line.size(), m_column + 1), ' ');
            m_line[m_column++] = byte;
            EXPECT_LT(m_column, m_columns) << "the cursor went on to the next line";
        }
    }

    int m_outside = -1;
    std::size_t m_columns;
    std::size_t m_column = 0;
    std::string m_above;
    std::string m_line;
};

TEST(TerminalTest, ProgressFitsAndMakesWay)
{
    Screen screen(20);
    Terminal terminal(screen.inside);
    terminal.ShowProgress("frame 1 of 999999999 frames");
    EXPECT_EQ(screen.Text(), "frame 1 of 99999999");
    terminal.ShowProgress("frame 2");
    EXPECT_EQ(screen.Text(), "frame 2");
    terminal.WriteLine("a line");
    EXPECT_EQ(screen.Text(), "a line\n");
    terminal.ShowProgress("frame 3");
    terminal.ShowProgress("");
    terminal.ShowProgress("");
    EXPECT_EQ(screen.Text(), "a line\n");
}

TEST(TerminalTest, AFileGetsNoProgress)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Terminal terminal(ends[1]);
    terminal.ShowProgress("frame 1");
    terminal.WriteLine("a line");
    close(ends[1]);
    char text[32]{};
    EXPECT_EQ(read(ends[0], text, sizeof(text)), 7);
    EXPECT_STREQ(text, "a line\n");
    close(ends[0]);
}

} // namespace

} // namespace Framegrab
