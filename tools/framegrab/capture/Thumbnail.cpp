#include "capture/Thumbnail.h"

#include "Util/GLReadback.h"
#include "capture/Driver.h"

#include <array>

namespace Framegrab {

namespace {

/// Puts back, at the end of the scope, how rows of pixels are laid out in memory when they are read.
class PackLayout
{
public:
    PackLayout()
    {
        for (std::size_t i = 0; i < Names.size(); ++i) {
            GL::GetIntegerv(Names[i], &m_values[i]);
        }
    }
    PackLayout(const PackLayout&) = delete;
    PackLayout& operator=(const PackLayout&) = delete;
    ~PackLayout()
    {
        for (std::size_t i = 0; i < Names.size(); ++i) {
            GL::PixelStorei(Names[i], m_values[i]);
        }
    }

private:
    static constexpr std::array<GLenum, 3> Names{GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS};

    std::array<GLint, Names.size()> m_values{};
};

using Operation = std::uint32_t (*)(Util::ImageSink&, const std::string&, std::int32_t, std::int32_t);

/// As `Buffers`.
constexpr std::array<Operation, Buffers.size()> Operations{
    &Util::ReadThumbnail,
    &Util::ReadThumbnailDepth,
    &Util::ReadThumbnailStencil,
};

} // namespace

std::uint32_t ReadThumbnail(Util::ImageSink& sink, Buffer buffer, std::uint32_t maxWidth,
                            std::uint32_t maxHeight)
{
    const PackLayout layout;
    return Operations[static_cast<std::size_t>(buffer)](sink, "", static_cast<std::int32_t>(maxWidth),
                                                        static_cast<std::int32_t>(maxHeight));
}

} // namespace Framegrab
