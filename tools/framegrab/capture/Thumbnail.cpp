#include "capture/Thumbnail.h"

#include <array>

namespace Framegrab {

namespace {

/// Puts back, at the end of the scope, how rows of pixels are laid out in memory when they are read.
class PackLayout
{
public:
    explicit PackLayout(const Driver& driver) : m_driver(driver)
    {
        for (std::size_t i = 0; i < Names.size(); ++i) {
            driver.getIntegerv(Names[i], &m_values[i]);
        }
    }
    PackLayout(const PackLayout&) = delete;
    PackLayout& operator=(const PackLayout&) = delete;
    ~PackLayout()
    {
        for (std::size_t i = 0; i < Names.size(); ++i) {
            m_driver.pixelStorei(Names[i], m_values[i]);
        }
    }

private:
    static constexpr std::array<GLenum, 3> Names{GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS};

    const Driver& m_driver;
    std::array<GLint, Names.size()> m_values{};
};

using Handler = Util::GLScreenshotHandler;
using Operation = std::uint32_t (Handler::*)(const std::string&, std::int32_t, std::int32_t);

/// As `Buffers`.
constexpr std::array<Operation, Buffers.size()> Operations{
    &Handler::TakeScreenshotThumbnail,
    &Handler::TakeScreenshotThumbnailDepth,
    &Handler::TakeScreenshotThumbnailStencil,
};

} // namespace

std::uint32_t TakeThumbnail(const Driver& driver, Handler& handler, Buffer buffer, const std::string& path,
                            std::uint32_t maxWidth, std::uint32_t maxHeight)
{
    const PackLayout layout(driver);
    return (handler.*Operations[static_cast<std::size_t>(buffer)])(path, static_cast<std::int32_t>(maxWidth),
                                                                   static_cast<std::int32_t>(maxHeight));
}

} // namespace Framegrab
