#include "Playback/PlaybackEnvironment.h"

#include <atomic>
#include <memory>

namespace Playback {

PlaybackEnvironment* PlaybackEnvironment::m_pInstance = nullptr;

PlaybackEnvironment& PlaybackEnvironment::Instance()
{
    // Without a lock, which a child forked meanwhile would never see released: of threads that come first at
    // once, one has its instance published. It lives until the process ends: its settings are read until
    // then.
    const std::atomic_ref published(m_pInstance);
    PlaybackEnvironment* instance = published.load();
    if (!instance) {
        auto made = std::make_unique<PlaybackEnvironment>();
        made->InitDefaultSettings();
        if (published.compare_exchange_strong(instance, made.get())) {
            instance = made.release();
        }
    }
    return *instance;
}

void PlaybackEnvironment::InitDefaultSettings()
{
    m_opaqueScreenshots = false;
}

} // namespace Playback
