#pragma once

#include "capture/Connection.h"
#include "capture/Driver.h"
#include "shared/CaptureInterface.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace Framegrab {

/// Captures the frames of one process: counts its swaps, and reads what is asked for.
class Capturer
{
public:
    /// @param session  the session's folder
    explicit Capturer(const char* session) : m_session(session) {}

    CaptureAnswer BeforeSwap(const CaptureContext& context, EGLDisplay display, EGLSurface surface);
    CaptureAnswer CaptureTargetIfLeft(const CaptureContext& context, const TargetEvent& event);
    void AfterSwap();

private:
    [[nodiscard]] CaptureAnswer Answer() const;
    CaptureAnswer CaptureSwap(const CaptureContext& context, EGLDisplay display, EGLSurface surface);
    void ConnectOnce();
    bool IsConnected();
    bool IsWanted(std::uint64_t frame) const { return m_connection->GetSettings().frames.Contains(frame); }
    void CountSwap();
    const Driver& DriverOf(const CaptureContext& context);
    bool CaptureFrame(const CaptureContext& context, EGLDisplay display, EGLSurface surface,
                      GLenum& takenError);
    bool CaptureBuffer(Buffer buffer);
    bool CaptureTarget(const Driver& driver, std::uint64_t frame, GLenum& takenError);
    template <typename ReadFullSize>
    bool CapturePicture(const Picture& picture, bool hasThumbnail, ReadFullSize readFullSize);
    template <typename Read>
    bool ReadPicture(Picture picture, Read read);
    Picture NewPicture(std::uint64_t frame);
    void TellDriverOnce(const Driver& driver);
    void TellFrameDone(std::uint64_t frame, bool isWhole);
    void SayOnce(const std::string& text);

    std::mutex m_mutex; ///< held while a swap is counted and captured; guards the rest
    std::string m_session;
    bool m_hasTriedToConnect = false;
    std::unique_ptr<Connection> m_connection; ///< null without framegrab
    std::uint64_t m_frame = 0;                ///< swaps so far; the frame being drawn is the next
    std::uint32_t m_target = 0;               ///< targets drawn so far in the frame being drawn
    bool m_isDriverTold = false;
    bool m_areTargetsWhole = true; ///< of the frame being drawn
    std::uint32_t m_number = 0;    ///< among the processes that capture; 0 before the first frame
    std::map<void*, std::unique_ptr<Driver>> m_drivers; ///< by functions that the program calls
    std::set<std::string> m_said;
};

} // namespace Framegrab
