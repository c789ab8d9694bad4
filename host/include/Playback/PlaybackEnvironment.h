#pragma once

#include "Core/Export.h"

namespace Playback {

/// Settings of the playback engine that the library reads. One instance for the process, made on first use.
class CORE_EXPORT PlaybackEnvironment
{
public:
    /// Makes the instance if there is none yet and runs `InitDefaultSettings` on it. Any thread.
    static PlaybackEnvironment& Instance();

    void InitDefaultSettings();

    /// Null until `Instance` is called for the first time.
    static PlaybackEnvironment* m_pInstance;

    /// Screenshots get an alpha of 255 in every pixel. Off by default.
    bool m_opaqueScreenshots = false;
};

} // namespace Playback
