#include "Playback/PlaybackEnvironment.h"

#include <mutex>

namespace Playback {

PlaybackEnvironment* PlaybackEnvironment::m_pInstance = nullptr;

PlaybackEnvironment& PlaybackEnvironment::Instance()
{
    static std::mutex mutex;
    const std::scoped_lock lock(mutex);
    if (!m_pInstance) {
        // Lives until the process ends: its settings are read until then.
        static PlaybackEnvironment instance;
        instance.InitDefaultSettings();
        m_pInstance = &instance;
    }
    return *m_pInstance;
}

void PlaybackEnvironment::InitDefaultSettings()
{
    m_opaqueScreenshots = false;
}

} // namespace Playback
