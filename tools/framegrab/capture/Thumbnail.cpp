#include "capture/Thumbnail.h"

#include "Util/GLReadback.h"
#include "Util/GLState.h"

#include <array>

namespace Framegrab {

namespace {

using Operation = std::uint32_t (*)(Util::ImageSink&, const std::string&, std::int32_t, std::int32_t);

/// As `Buffers`.
constexpr std::array<Operation, Buffers.size()> Operations{
    &Util::ReadThumbnail,
    &Util::ReadThumbnailDepth,
    &Util::ReadThumbnailStencil,
};

} // namespace

std::uint32_t ReadThumbnail(Util::ImageSink& sink, const std::string& name, Buffer buffer,
                            std::uint32_t maxWidth, std::uint32_t maxHeight)
{
    // The library leaves these at 0.
    const Util::SavedPixelStore<GL_PACK_ROW_LENGTH> rowLength;
    const Util::SavedPixelStore<GL_PACK_SKIP_ROWS> skipRows;
    const Util::SavedPixelStore<GL_PACK_SKIP_PIXELS> skipPixels;
    return Operations[static_cast<std::size_t>(buffer)](sink, name, static_cast<std::int32_t>(maxWidth),
                                                        static_cast<std::int32_t>(maxHeight));
}

} // namespace Framegrab
