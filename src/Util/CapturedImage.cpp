#include "Util/CapturedImage.h"

#include "Playback/PlaybackEnvironment.h"

namespace Util {

void CapturedImage::NoteSettings()
{
    using Playback::PlaybackEnvironment;
    opaque = PlaybackEnvironment::m_pInstance ? PlaybackEnvironment::m_pInstance->m_opaqueScreenshots
                                              : PlaybackEnvironment::Instance().m_opaqueScreenshots;
    encoding = GetPNGEncoding();
}

ImageSink::~ImageSink() = default;

std::uint8_t* ImageSink::Lend(std::size_t /*bytes*/)
{
    return nullptr;
}

} // namespace Util
