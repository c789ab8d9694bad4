#pragma once

#include "Util/GLScreenshotHandler.h"
#include "support/Quadrants.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"

#include <GLES3/gl32.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

namespace TestSupport {

constexpr Pixel Black{0, 0, 0, 255};
constexpr std::array<Pixel, 4> AllBlack{Black, Black, Black, Black};

constexpr GLbitfield AllBuffers = GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT;

using FileNames = std::set<std::string>;

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
                                      const std::array<Pixel, 4>& expected, int tolerance = 0,
                                      int border = 0) const
    {
        return CompareQuadrants(LoadImage(m_folder.File(file)), width, height, expected, tolerance, border);
    }

    TemporaryFolder m_folder;
};

} // namespace TestSupport
