#pragma once

#include "capture/BufferFormat.h"
#include "capture/Connection.h"
#include "capture/Driver.h"
#include "capture/SurfaceCounts.h"
#include "shared/CaptureInterface.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace Framegrab {

/// Captures the frames of one process: counts the swaps of its surfaces, and reads what is asked for.
class Capturer
{
public:
    /// @param session  the session's folder
    explicit Capturer(const char* session) : m_session(session) {}

    CaptureAnswer BeforeSwap(const CaptureContext& context, EGLDisplay display, EGLSurface surface);
    CaptureAnswer CaptureTargetIfLeft(const CaptureContext& context, const TargetEvent& event);
    CaptureAnswer AfterWindowSurface(EGLDisplay display, EGLSurface surface, std::uintptr_t window);
    CaptureAnswer BeforeSurfaceIsDestroyed(EGLDisplay display, EGLSurface surface);
    void AfterSwap();

    /// Lets nothing be read any more, and waits until what is being read is, or for a second.
    void Stop();

private:
    [[nodiscard]] CaptureAnswer Answer() const;
    bool IsSwapWanted(CountedSurface& surface);
    [[nodiscard]] bool IsWindowWanted(const CountedSurface& surface) const;
    CaptureAnswer CaptureSwap(const CaptureContext& context, EGLDisplay display, EGLSurface surface);
    void ConnectOnce();
    bool IsConnected();
    [[nodiscard]] bool IsWanted(const CountedSurface& surface, std::uint64_t frame) const;
    [[nodiscard]] bool AreTargetsWanted(const CountedSurface& surface) const;
    bool IsLastFrame(const CountedSurface& surface);
    bool IsTriggerServed(const CountedSurface& surface);
    void CountSwap(CountedSurface& surface);
    const Driver& DriverOf(const CaptureContext& context);
    bool CaptureFrame(const CaptureContext& context, EGLDisplay display, EGLSurface surface,
                      CountedSurface& counted, GLenum& takenError);
    [[nodiscard]] bool IsReadAsValues(Buffer buffer) const;
    bool CaptureSurfaceBuffer(const CountedSurface& surface, Buffer buffer);
    bool CaptureTarget(const Driver& driver, CountedSurface& surface, GLenum& takenError);
    template <typename ReadValues, typename ReadFullSize>
    bool CaptureBuffer(Picture picture, const BufferFormat& format, bool hasThumbnail, ReadValues readValues,
                       ReadFullSize readFullSize);
    template <typename ReadFullSize>
    bool CapturePicture(const Picture& picture, bool hasThumbnail, ReadFullSize readFullSize);
    template <typename Read>
    bool ReadPicture(Picture picture, Read read);
    template <typename Read>
    bool TryPicture(Picture& picture, Read read);
    Picture NewPicture(const CountedSurface& surface, std::uint64_t frame);
    void TellDriverOnce(const Driver& driver);
    void TellFrameDone(const CountedSurface& surface, bool isWhole);
    void SayOnce(const std::string& text);

    std::atomic<bool> m_isStopped{false};
    std::mutex m_mutex; ///< held while a swap is counted and captured; guards the rest
    std::string m_session;
    bool m_hasTriedToConnect = false;
    std::unique_ptr<Connection> m_connection; ///< null without framegrab
    SurfaceCounts m_surfaces;
    bool m_isDriverTold = false;
    std::uint64_t m_events = 0; ///< as in `CaptureAnswer`
    std::uint32_t m_number = 0; ///< among the processes that capture; 0 before the first frame
    std::map<void*, std::unique_ptr<Driver>> m_drivers; ///< by functions that the program calls
    std::set<std::string> m_said;
};

} // namespace Framegrab
