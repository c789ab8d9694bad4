#pragma once

#include "Util/GLScreenshotHandler.h"
#include "support/GLSnapshot.h"
#include "support/Quadrants.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"
#include "support/TestDispatch.h"

#include <GLES3/gl32.h>
#include <gtest/gtest.h>
#include <GLES2/gl2ext.h>

#include <filesystem>
#include <set>
#include <string>

namespace TestSupport {

inline constexpr Pixel Black{0, 0, 0, 255};
inline constexpr std::array<Pixel, 4> AllBlack{Black, Black, Black, Black};

constexpr GLbitfield AllBuffers = GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT;

using FileNames = std::set<std::string>;

/// Makes the context look like one of `GL_KHR_no_error`.
class NoErrorReports
{
    template <std::size_t Position, typename... Signature>
    using Entry = ReplacedEntry<&Core::KHRLayer::GLESProc, Position, Signature...>;

    Entry<60, GLenum> m_error{Util::GL::GetError, [] { return GLenum{GL_NO_ERROR}; }};
    Entry<63, void, GLenum, GLint*> m_flags{Util::GL::GetIntegerv, [](GLenum name, GLint* value) {
                                                if (name == GL_CONTEXT_FLAGS) {
                                                    *value = GL_CONTEXT_FLAG_NO_ERROR_BIT_KHR;
                                                } else {
                                                    glGetIntegerv(name, value);
                                                }
                                            }};
};

/// A folder for the files of captures, and an empty log.
class CaptureFixture : public testing::Test
{
protected:
    CaptureFixture() { ClearLog(); }

    std::uint32_t Take(GLbitfield buffers,
                       Util::ScreenshotWriter::ImageFormat format = Util::ScreenshotWriter::FormatPNG)
    {
        return Util::GLScreenshotHandler(format).TakeScreenshot(m_folder.File("shot"), buffers);
    }

    /// Captures one buffer of what is bound for drawing, at full size.
    std::uint32_t TakeOne(Kind kind)
    {
        Util::GLScreenshotHandler handler(Util::ScreenshotWriter::FormatPNG);
        const std::string name = m_folder.File("shot");
        const auto index = static_cast<std::size_t>(kind);
        GLint framebuffer = 0;
        glGetIntegerv(GL_FRAMEBUFFER_BINDING, &framebuffer);
        constexpr std::array<GLenum, 3> Buffers{GL_BACK, GL_DEPTH, GL_STENCIL};
        constexpr std::array<GLenum, 3> Points{GL_COLOR_ATTACHMENT0, GL_DEPTH_ATTACHMENT,
                                               GL_STENCIL_ATTACHMENT};
        return framebuffer == 0 ? handler.TakeScreenshotBackBuffer(name, Buffers.at(index))
                                : handler.TakeScreenshotFBO(name, Points.at(index));
    }

    std::uint32_t Thumbnail(Kind kind, int maxWidth, int maxHeight,
                            Util::ScreenshotWriter::ImageFormat format = Util::ScreenshotWriter::FormatPNG)
    {
        Util::GLScreenshotHandler handler(format);
        const std::string name = m_folder.File("shot");
        return kind == Kind::Color   ? handler.TakeScreenshotThumbnail(name, maxWidth, maxHeight)
               : kind == Kind::Depth ? handler.TakeScreenshotThumbnailDepth(name, maxWidth, maxHeight)
                                     : handler.TakeScreenshotThumbnailStencil(name, maxWidth, maxHeight);
    }

    /// Gives the application a debug callback that must not hear of an error. Needs a debug context.
    static void FailOnMessages()
    {
        glEnable(GL_DEBUG_OUTPUT);
        glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS);
        glDebugMessageCallback(
            [](GLenum, GLenum type, GLuint, GLenum, GLsizei, const GLchar* message, const void*) {
                EXPECT_NE(type, GLenum{GL_DEBUG_TYPE_ERROR}) << "the application hears: " << message;
            },
            nullptr);
    }

    static constexpr std::array<GLenum, 3> PackLayoutNames{GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS,
                                                           GL_PACK_SKIP_PIXELS};

    static std::array<GLint, 3> PackLayout()
    {
        std::array<GLint, 3> values{};
        for (std::size_t i = 0; i < values.size(); ++i) {
            glGetIntegerv(PackLayoutNames.at(i), &values.at(i));
        }
        return values;
    }

    /// Captures quadrants at full size and as thumbnails of other sizes; looks at the pictures and at the
    /// state after them.
    void ExpectPictures(Kind kind, int width, int height, const std::array<Pixel, 4>& expected,
                        const std::vector<int>& divisors = {1, 2})
    {
        for (const int divisor : divisors) {
            SCOPED_TRACE("size / " + std::to_string(divisor));
            RemoveFiles();
            const GLSnapshot before = GLSnapshot::Now();
            const std::array<GLint, 3> layout = PackLayout();
            EXPECT_EQ(divisor == 1 ? TakeOne(kind) : Thumbnail(kind, width / 2, height / 2), 0U);
            if (kind == Kind::Color && divisor == 2) {
                EXPECT_EQ(PackLayout(), (std::array<GLint, 3>{})) << "what a thumbnail leaves at 0";
                for (std::size_t i = 0; i < layout.size(); ++i) {
                    glPixelStorei(PackLayoutNames.at(i), layout.at(i));
                }
            }
            EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
            ASSERT_EQ(Files().size(), 1U);
            // Linear filtering mixes neighbours; nearest filtering does not.
            const int border = kind == Kind::Color && divisor == 2 ? 1 : 0;
            EXPECT_EQ(Compare(Files().begin()->c_str(), width / divisor, height / divisor, expected, border),
                      "");
        }
    }

    [[nodiscard]] FileNames Files() const
    {
        FileNames names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path())) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    void RemoveFiles() const
    {
        for (const std::string& name : Files()) {
            std::filesystem::remove(m_folder.Path() / name);
        }
    }

    /// @return what is wrong with a file of the folder, see `CompareQuadrants`
    [[nodiscard]] std::string Compare(const char* file, int width, int height,
                                      const std::array<Pixel, 4>& expected, int border = 0) const
    {
        return CompareQuadrants(LoadImage(m_folder.File(file)), width, height, expected, border);
    }

    TemporaryFolder m_folder;
};

} // namespace TestSupport
