#include "capture/Capturer.h"

#include "Util/GLReadback.h"
#include "Util/GLState.h"
#include "capture/PictureSink.h"
#include "capture/Surface.h"
#include "capture/Targets.h"
#include "capture/Thumbnail.h"

#include <chrono>
#include <cstdio>
#include <exception>
#include <unistd.h>
#include <utility>

namespace Framegrab {

namespace {

/// The capture of a frame as framegrab sees it, which ends the program in between frames.
class FrameInProgress
{
public:
    explicit FrameInProgress(SharedCounters& counters) : m_counters(counters) { ++m_counters.framesBegun; }
    FrameInProgress(const FrameInProgress&) = delete;
    FrameInProgress& operator=(const FrameInProgress&) = delete;
    ~FrameInProgress() { --m_counters.framesBegun; }

    /// Whether the program is about to be ended and waits for frames begun before.
    [[nodiscard]] bool IsTooLate() const { return m_counters.isEnding != 0; }

private:
    SharedCounters& m_counters;
};

/// Logs, when it is left, how long a capture took.
class Stopwatch
{
public:
    explicit Stopwatch(std::string what) : m_what(std::move(what)) {}
    Stopwatch(const Stopwatch&) = delete;
    Stopwatch& operator=(const Stopwatch&) = delete;
    ~Stopwatch()
    {
        const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - m_start;
        FRAMEGRAB_LOG(Core::Log::ZoneCapture, "%s captured in %.1f ms", m_what.c_str(), time.count());
    }

private:
    std::string m_what;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

} // namespace

CaptureAnswer Capturer::BeforeSwap(const CaptureContext& context, EGLDisplay display, EGLSurface surface)
{
    const CaptureAnswer answer = CaptureSwap(context, display, surface);
    if (answer.tellWhenShown) {
        // The program will be ended from outside. What it has printed is its user's.
        std::fflush(stdout);
        std::fflush(stderr);
    }
    return answer;
}

CaptureAnswer Capturer::CaptureSwap(const CaptureContext& context, EGLDisplay display, EGLSurface surface)
{
    const std::scoped_lock lock(m_mutex);
    ConnectOnce();
    const bool areTargetsWhole = m_areTargetsWhole;
    CountSwap();
    CaptureAnswer answer = Answer();
    if (!IsConnected() || !IsWanted(m_frame)) {
        return answer;
    }
    const Settings& settings = m_connection->GetSettings();
    {
        const FrameInProgress progress(m_connection->Counters());
        if (progress.IsTooLate()) {
            return answer;
        }
        bool isWhole = false;
        try {
            isWhole = CaptureFrame(context, display, surface, answer.takenError) && areTargetsWhole;
        } catch (const std::exception& error) {
            SayOnce(std::string("a frame was not captured: ") + error.what());
        }
        TellFrameDone(m_frame, isWhole);
    }
    if (settings.frames.IsLast(m_frame)) {
        m_connection->Counters().isLastFrameDone = 1;
        answer.tellWhenShown = settings.quit;
    }
    return answer;
}

void Capturer::AfterSwap()
{
    const std::scoped_lock lock(m_mutex);
    if (m_connection) {
        m_connection->Counters().isLastFrameShown = 1;
    }
}

CaptureAnswer Capturer::CaptureTargetIfLeft(const CaptureContext& context, const TargetEvent& event)
{
    const std::scoped_lock lock(m_mutex);
    ConnectOnce();
    CaptureAnswer answer = Answer();
    if (!answer.areTargetsWanted || !IsConnected()) {
        return answer;
    }
    try {
        const Driver& driver = DriverOf(context);
        const Driver::Calls calls(driver);
        if (!driver.HasCurrentContext() || driver.CurrentVersion() == 0 || !IsTargetBound()) {
            return answer;
        }
        answer.isTargetLeft = IsDoneWithTarget(driver, event);
        const FrameInProgress progress(m_connection->Counters());
        if (answer.isTargetLeft && !progress.IsTooLate()) {
            m_areTargetsWhole = CaptureTarget(driver, m_frame + 1, answer.takenError) && m_areTargetsWhole;
        }
    } catch (const std::exception& error) {
        m_areTargetsWhole = false;
        SayOnce(std::string("a framebuffer object was not captured: ") + error.what());
    }
    m_connection->TellLog();
    return answer;
}

/// What is known before anything is captured.
CaptureAnswer Capturer::Answer() const
{
    return {.swaps = m_frame, .areTargetsWanted = m_connection && IsWanted(m_frame + 1)};
}

void Capturer::ConnectOnce()
{
    if (!m_hasTriedToConnect) {
        m_hasTriedToConnect = true;
        m_connection = Connection::Open(m_session.c_str());
    }
}

/// Leaves framegrab when it has gone, so that the program is rid of the memory.
bool Capturer::IsConnected()
{
    if (m_connection && !m_connection->Memory().IsFramegrabAlive()) {
        m_connection.reset();
    }
    return m_connection != nullptr;
}

void Capturer::CountSwap()
{
    ++m_frame;
    m_target = 0;
    m_areTargetsWhole = true;
    if (m_connection) {
        std::atomic<std::uint64_t>& most = m_connection->Counters().swaps;
        std::uint64_t known = most;
        while (known < m_frame && !most.compare_exchange_weak(known, m_frame)) {
        }
    }
}

const Driver& Capturer::DriverOf(const CaptureContext& context)
{
    std::unique_ptr<Driver>& known = m_drivers[context.driverFunction];
    if (!known) {
        known = std::make_unique<Driver>(context);
        FRAMEGRAB_LOG(Core::Log::ZoneDll, "process %d swaps with %s", getpid(), known->LibraryPath().c_str());
    }
    return *known;
}

bool Capturer::CaptureFrame(const CaptureContext& context, EGLDisplay display, EGLSurface surface,
                            GLenum& takenError)
{
    const Driver& driver = DriverOf(context);
    const Driver::Calls calls(driver);
    if (const std::string reason = WhyNotCaptured(driver, display, surface); !reason.empty()) {
        SayOnce(reason);
        return false;
    }
    const Stopwatch stopwatch("frame " + std::to_string(m_frame));
    const KeptErrors errors(takenError);
    const SurfaceBinding binding;
    TellDriverOnce(driver);
    bool isWhole = true;
    for (const Buffer buffer : m_connection->GetSettings().buffers) {
        isWhole = CaptureBuffer(buffer) && isWhole;
    }
    return isWhole;
}

bool Capturer::CaptureBuffer(Buffer buffer)
{
    const BufferKind& kind = KindOf(buffer);
    const std::string format = SurfaceFormat(kind);
    if (format.empty()) {
        SayOnce(std::string("the surface has no ") + kind.name + " buffer");
        return true;
    }
    Picture picture = NewPicture(m_frame);
    picture.buffer = buffer;
    picture.format = decltype(picture.format)(format);
    picture.samples = static_cast<std::uint32_t>(Util::GetInteger(GL_SAMPLES));
    return CapturePicture(picture, true,
                          [&](Util::ImageSink& sink) { return Util::ReadScreenshot(sink, "", kind.mask); });
}

bool Capturer::CaptureTarget(const Driver& driver, std::uint64_t frame, GLenum& takenError)
{
    if (driver.CurrentVersion() < 31) {
        SayOnce("framebuffer objects are captured in contexts of OpenGL ES 3.1 and later only");
        return false;
    }
    // Counted whether or not it has what was asked for: its number is the same whatever that is.
    const std::uint32_t target = ++m_target;
    const Stopwatch stopwatch("frame " + std::to_string(frame) + ", target " + std::to_string(target));
    const KeptErrors errors(takenError);
    const TargetRead read;
    TellDriverOnce(driver);
    std::set<std::string> leftOut;
    bool isWhole = true;
    for (const TargetAttachment& attachment :
         FindTargetAttachments(m_connection->GetSettings().buffers, leftOut)) {
        Picture picture = NewPicture(frame);
        picture.target = target;
        picture.buffer = attachment.buffer;
        picture.attachment = attachment.number;
        picture.format = decltype(picture.format)(attachment.format);
        picture.samples = static_cast<std::uint32_t>(Util::GetInteger(GL_SAMPLES));
        const auto readFullSize = [&](Util::ImageSink& sink) {
            return Util::ReadAttachment(sink, "", attachment.point);
        };
        isWhole = CapturePicture(picture, attachment.hasThumbnail, readFullSize) && isWhole;
    }
    for (const std::string& reason : leftOut) {
        SayOnce(reason);
    }
    return isWhole;
}

/// Captures a buffer in full size, as a thumbnail, or both.
template <typename ReadFullSize>
bool Capturer::CapturePicture(const Picture& picture, bool hasThumbnail, ReadFullSize readFullSize)
{
    const Settings& settings = m_connection->GetSettings();
    const bool isThumbnailWanted = settings.thumbnailWidth != 0 && hasThumbnail;
    bool isWhole = true;
    if (!settings.thumbnailOnly || !isThumbnailWanted) {
        isWhole = ReadPicture(picture, readFullSize);
    }
    if (isThumbnailWanted) {
        Picture thumbnail = picture;
        thumbnail.isThumbnail = true;
        const auto read = [&](Util::ImageSink& sink) {
            return ReadThumbnail(sink, picture.buffer, settings.thumbnailWidth, settings.thumbnailHeight);
        };
        isWhole = ReadPicture(thumbnail, read) && isWhole;
    }
    return isWhole;
}

/// @param read  reads into the sink that it is given, and returns a status of the library
template <typename Read>
bool Capturer::ReadPicture(Picture picture, Read read)
{
    {
        PictureSink sink(*m_connection, picture);
        picture.status = read(sink);
        if (sink.RefusedSize() != 0) {
            constexpr std::size_t MiB = 1024 * 1024;
            SayOnce("a picture takes " + std::to_string((sink.RefusedSize() + MiB - 1) / MiB) +
                    " MiB, which is more than -memory allows: such a one is not captured");
        }
        if (sink.HasTaken()) {
            return picture.status == 0;
        }
    }
    m_connection->Tell(EntryKind::NoImage, picture);
    return false;
}

Picture Capturer::NewPicture(std::uint64_t frame)
{
    if (m_number == 0) {
        m_number = ++m_connection->Counters().capturingProcesses;
    }
    Picture picture;
    picture.frame = frame;
    picture.process = m_number;
    return picture;
}

void Capturer::TellDriverOnce(const Driver& driver)
{
    if (!std::exchange(m_isDriverTold, true)) {
        m_connection->Tell(EntryKind::Driver, NewPicture(0), driver.Description());
    }
}

void Capturer::TellFrameDone(std::uint64_t frame, bool isWhole)
{
    SharedCounters& counters = m_connection->Counters();
    // A frame that was cut short by the end of the program is none that anybody waits for.
    if (isWhole || counters.isOver == 0) {
        Picture done = NewPicture(frame);
        done.status = isWhole ? 0 : 1;
        ++counters.framesRead;
        m_connection->Tell(EntryKind::FrameDone, done);
    }
    m_connection->TellLog();
}

void Capturer::SayOnce(const std::string& text)
{
    if (m_said.insert(text).second) {
        m_connection->Tell(EntryKind::Message, {}, text);
    }
}

} // namespace Framegrab
