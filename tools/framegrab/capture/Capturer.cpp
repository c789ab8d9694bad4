#include "capture/Capturer.h"

#include "Util/GLReadback.h"
#include "Util/GLState.h"
#include "Util/GLValueReadback.h"
#include "capture/PictureSink.h"
#include "capture/Surface.h"
#include "capture/Target.h"
#include "capture/Thumbnail.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <thread>
#include <unistd.h>
#include <utility>

namespace Framegrab {

namespace {

/// The capture of a frame as framegrab sees it, which ends the program in between frames.
class FrameInProgress
{
public:
    explicit FrameInProgress(Connection& connection) : m_connection(connection)
    {
        ++m_connection.FramesBegun();
    }
    FrameInProgress(const FrameInProgress&) = delete;
    FrameInProgress& operator=(const FrameInProgress&) = delete;
    ~FrameInProgress() { --m_connection.FramesBegun(); }

    /// Whether the program is about to be ended and waits for frames begun before.
    [[nodiscard]] bool IsTooLate() const { return m_connection.Counters().isEnding != 0; }

private:
    Connection& m_connection;
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

/// Makes a number at least this one.
void RaiseTo(std::atomic<std::uint64_t>& most, std::uint64_t number)
{
    std::uint64_t known = most;
    while (known < number && !most.compare_exchange_weak(known, number)) {
    }
}

/// @return a frame as a message names it
std::string Name(const CountedSurface& surface, std::uint64_t frame)
{
    return "frame " + std::to_string(frame) +
           (surface.number > 1 ? " of window " + std::to_string(surface.number) : "");
}

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
    if (m_isStopped) {
        return {};
    }
    ConnectOnce();
    CountedSurface& counted = m_surfaces.OfSwap(display, surface);
    const bool areTargetsWhole = counted.areTargetsWhole;
    CountSwap(counted);
    const bool isWanted = IsConnected() && IsSwapWanted(counted);
    CaptureAnswer answer = Answer();
    if (!isWanted) {
        return answer;
    }
    const Settings& settings = m_connection->GetSettings();
    {
        const FrameInProgress progress(*m_connection);
        if (progress.IsTooLate()) {
            return answer;
        }
        bool isWhole = false;
        try {
            isWhole = CaptureFrame(context, display, surface, counted, answer.takenError) && areTargetsWhole;
        } catch (const std::exception& error) {
            SayOnce(std::string("a frame was not captured: ") + error.what());
        }
        TellFrameDone(counted, isWhole);
    }
    if (IsLastFrame(counted)) {
        m_connection->Counters().isLastFrameDone = 1;
        answer.tellWhenShown = settings.quit;
    }
    return answer;
}

void Capturer::Stop()
{
    m_isStopped = true;
    for (int i = 0; i < 1000; ++i) {
        if (m_mutex.try_lock()) {
            m_mutex.unlock();
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
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
    if (m_isStopped) {
        return {};
    }
    ConnectOnce();
    CaptureAnswer answer = Answer();
    if (!answer.areTargetsWanted || !IsConnected()) {
        return answer;
    }
    const Driver& driver = DriverOf(context);
    const Driver::Calls calls(driver);
    if (!driver.HasCurrentContext() || driver.CurrentVersion() == 0 || !IsTargetBound()) {
        return answer;
    }
    CountedSurface& surface = m_surfaces.OfTarget(EGL::GetCurrentDisplay(), EGL::GetCurrentSurface(EGL_DRAW));
    if (!AreTargetsWanted(surface)) {
        return answer;
    }
    try {
        answer.isTargetLeft = IsDoneWithTarget(driver, event);
        const FrameInProgress progress(*m_connection);
        if (answer.isTargetLeft && !progress.IsTooLate()) {
            surface.areTargetsWhole =
                CaptureTarget(driver, surface, answer.takenError) && surface.areTargetsWhole;
        }
    } catch (const std::exception& error) {
        surface.areTargetsWhole = false;
        SayOnce(std::string("a framebuffer object was not captured: ") + error.what());
    }
    m_connection->TellLog();
    return answer;
}

CaptureAnswer Capturer::AfterWindowSurface(EGLDisplay display, EGLSurface surface, std::uintptr_t window)
{
    const std::scoped_lock lock(m_mutex);
    m_surfaces.AfterWindowSurface(display, surface, window);
    ++m_events;
    return Answer();
}

CaptureAnswer Capturer::BeforeSurfaceIsDestroyed(EGLDisplay display, EGLSurface surface)
{
    const std::scoped_lock lock(m_mutex);
    m_surfaces.BeforeDestruction(display, surface);
    return Answer();
}

/// What is known before anything is captured.
CaptureAnswer Capturer::Answer() const
{
    const bool areTargetsWanted = m_connection && m_surfaces.Any([&](const CountedSurface& surface) {
        return AreTargetsWanted(surface);
    });
    return {.events = m_events, .areTargetsWanted = areTargetsWanted || !m_hasTriedToConnect};
}

/// Takes a frame for a trigger, if one asks: the one that was just drawn; with targets the one that begins
/// now, since those of the other are gone.
///
/// @return whether the frame that was just drawn is asked for
bool Capturer::IsSwapWanted(CountedSurface& surface)
{
    const Settings& settings = m_connection->GetSettings();
    const bool isWanted = IsWanted(surface, surface.swaps);
    if (settings.triggerFrames == 0 || !IsWindowWanted(surface)) {
        return isWanted;
    }
    const SharedCounters& counters = m_connection->Counters();
    if (surface.swaps == 1) {
        // What was asked for and done before it came is not its affair.
        const std::uint64_t asked = counters.framesAsked;
        surface.asked = counters.framesServed < asked ? asked - settings.triggerFrames : asked;
    }
    if (surface.asked < counters.framesAsked) {
        ++surface.asked;
        surface.triggered = surface.swaps + (settings.targets ? 1 : 0);
    }
    return isWanted || surface.triggered == surface.swaps;
}

/// Notes that a surface has dealt with a frame that a trigger asked for.
///
/// @return whether those of all triggers are there: of any window, or of each one that was named
bool Capturer::IsTriggerServed(const CountedSurface& surface)
{
    SharedCounters& counters = m_connection->Counters();
    std::uint64_t served = surface.Served();
    for (const std::uint32_t window : m_connection->GetSettings().windows) {
        const CountedSurface* const other = m_surfaces.OfNumber(window);
        served = std::min(served, other ? other->Served() : 0);
    }
    RaiseTo(counters.framesServed, served);
    return served >= counters.framesAsked;
}

/// @param surface  without a number it may become any
bool Capturer::IsWindowWanted(const CountedSurface& surface) const
{
    const std::vector<std::uint32_t>& windows = m_connection->GetSettings().windows;
    return windows.empty() || surface.number == 0 ||
           std::find(windows.begin(), windows.end(), surface.number) != windows.end();
}

bool Capturer::IsWanted(const CountedSurface& surface, std::uint64_t frame) const
{
    const Settings& settings = m_connection->GetSettings();
    const bool isAskedFor =
        settings.triggerFrames != 0 ? surface.triggered == frame : settings.frames.Contains(frame);
    return isAskedFor && IsWindowWanted(surface);
}

/// Of the frame that is being drawn.
bool Capturer::AreTargetsWanted(const CountedSurface& surface) const
{
    return IsWanted(surface, surface.swaps + 1) && surface.targets <= m_connection->GetSettings().maxTargets;
}

/// Whether a frame asked for, which was just dealt with, is the one that the user waits for.
bool Capturer::IsLastFrame(const CountedSurface& surface)
{
    const Settings& settings = m_connection->GetSettings();
    if (settings.triggerFrames != 0) {
        return IsTriggerServed(surface) && settings.quit;
    }
    if (!settings.frames.IsLast(surface.swaps)) {
        return false;
    }
    return settings.windows.empty()
               ? surface.number == 1
               : std::all_of(settings.windows.begin(), settings.windows.end(), [&](std::uint32_t window) {
                     const CountedSurface* const named = m_surfaces.OfNumber(window);
                     return named && named->swaps >= settings.frames.Last();
                 });
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

void Capturer::CountSwap(CountedSurface& surface)
{
    ++m_events;
    ++surface.swaps;
    surface.targets = 0;
    surface.areTargetsWhole = true;
    if (m_connection) {
        RaiseTo(m_connection->Counters().swaps, surface.swaps);
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
                            CountedSurface& counted, GLenum& takenError)
{
    const Driver& driver = DriverOf(context);
    Driver::Calls calls(driver);
    if (const std::string reason = WhyNotCaptured(driver, display, surface); !reason.empty()) {
        SayOnce(reason);
        return false;
    }
    const Stopwatch stopwatch(Name(counted, counted.swaps));
    const KeptErrors errors(takenError);
    const SurfaceBinding binding;
    TellDriverOnce(driver);
    const SurfaceSize told = ToldSize();
    if (told != counted.lastSize || counted.swaps != counted.lastFrame + 1) {
        counted.lastSize = DrawnSize(told, counted.lastSize);
        if (counted.lastSize != told) {
            calls.SetSurfaceSize(counted.lastSize.width, counted.lastSize.height);
        }
    }
    counted.lastFrame = counted.swaps;
    bool isWhole = true;
    for (const Buffer buffer : m_connection->GetSettings().buffers) {
        isWhole = CaptureSurfaceBuffer(counted, buffer) && isWhole;
    }
    return isWhole;
}

bool Capturer::CaptureSurfaceBuffer(const CountedSurface& surface, Buffer buffer)
{
    const BufferKind& kind = KindOf(buffer);
    const BufferFormat format = DescribeBuffer(kind, kind.surfacePoint);
    if (format.text.empty()) {
        SayOnce(std::string("the surface has no ") + kind.name + " buffer");
        return true;
    }
    Picture picture = NewPicture(surface, surface.swaps);
    picture.buffer = buffer;
    const std::string name = FramebufferName(picture);
    return CaptureBuffer(
        picture, format, true,
        [&](Util::ValueSink& sink) { return Util::ReadScreenshotValues(sink, name, kind.mask); },
        [&](Util::ImageSink& sink) { return Util::ReadScreenshot(sink, name, kind.mask); });
}

/// Captures a buffer: its values where they are asked for, and where these cannot be read a picture at least.
template <typename ReadValues, typename ReadFullSize>
bool Capturer::CaptureBuffer(Picture picture, const BufferFormat& format, bool hasThumbnail,
                             ReadValues readValues, ReadFullSize readFullSize)
{
    picture.format = decltype(picture.format)(format.text);
    picture.internalFormat = format.internalFormat;
    picture.samples = static_cast<std::uint32_t>(Util::GetInteger(GL_SAMPLES));
    if (format.isInteger) {
        return ReadPicture(picture, readValues);
    }
    if (!IsReadAsValues(picture.buffer)) {
        return CapturePicture(picture, hasThumbnail, readFullSize);
    }
    if (Picture ofValues = picture; TryPicture(ofValues, readValues)) {
        return ofValues.status == 0;
    }
    SayOnce(std::string("the values of a ") + KindOf(picture.buffer).name +
            " buffer cannot be read: there is a picture without them");
    CapturePicture(picture, hasThumbnail, readFullSize);
    return false;
}

/// Whether framegrab makes the pictures of a buffer of its values, thumbnails as well.
bool Capturer::IsReadAsValues(Buffer buffer) const
{
    const std::vector<Buffer>& buffers = m_connection->GetSettings().valueBuffers;
    return std::find(buffers.begin(), buffers.end(), buffer) != buffers.end();
}

bool Capturer::CaptureTarget(const Driver& driver, CountedSurface& surface, GLenum& takenError)
{
    if (driver.CurrentVersion() < 31) {
        SayOnce("framebuffer objects are captured in contexts of OpenGL ES 3.1 and later only");
        return false;
    }
    // Counted whether or not it has what was asked for: its number is the same whatever that is.
    const std::uint32_t target = ++surface.targets;
    const std::uint64_t frame = surface.swaps + 1;
    const std::uint32_t most = m_connection->GetSettings().maxTargets;
    if (target > most) {
        // All that a program draws which never swaps is drawn for its first frame.
        SayOnce(Name(surface, frame) + " has more than " + std::to_string(most) +
                " framebuffer objects: the rest is not captured; -max-targets allows more");
        return false;
    }
    const Stopwatch stopwatch(Name(surface, frame) + ", target " + std::to_string(target));
    const KeptErrors errors(takenError);
    const TargetRead read;
    TellDriverOnce(driver);
    std::set<std::string> leftOut;
    bool isWhole = true;
    const Settings& settings = m_connection->GetSettings();
    for (const TargetAttachment& attachment :
         FindTargetAttachments(settings.buffers, settings.integers, leftOut)) {
        Picture picture = NewPicture(surface, frame);
        picture.target = target;
        picture.buffer = attachment.buffer;
        picture.attachment = attachment.number;
        const std::string name = FramebufferName(picture);
        isWhole =
            CaptureBuffer(
                picture, attachment.format, attachment.hasThumbnail,
                [&](Util::ValueSink& sink) {
                    return Util::ReadAttachmentValues(sink, name, attachment.point);
                },
                [&](Util::ImageSink& sink) { return Util::ReadAttachment(sink, name, attachment.point); }) &&
            isWhole;
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
            return ReadThumbnail(sink, FramebufferName(picture), picture.buffer, settings.thumbnailWidth,
                                 settings.thumbnailHeight);
        };
        isWhole = ReadPicture(thumbnail, read) && isWhole;
    }
    return isWhole;
}

template <typename Read>
bool Capturer::ReadPicture(Picture picture, Read read)
{
    if (TryPicture(picture, read)) {
        return picture.status == 0;
    }
    m_connection->Tell(EntryKind::NoImage, picture);
    return false;
}

/// @param picture  receives the status
/// @param read     reads into the sink that it is given, and returns a status of the library
/// @return whether there is something for framegrab
template <typename Read>
bool Capturer::TryPicture(Picture& picture, Read read)
{
    PictureSink sink(*m_connection, picture);
    picture.status = read(sink);
    if (sink.RefusedSize() != 0) {
        constexpr std::size_t MiB = 1024 * 1024;
        SayOnce("a picture takes " + std::to_string((sink.RefusedSize() + MiB - 1) / MiB) +
                " MiB, which is more than -memory allows: such a one is not captured");
    }
    return sink.HasTaken();
}

Picture Capturer::NewPicture(const CountedSurface& surface, std::uint64_t frame)
{
    if (m_number == 0) {
        m_number = ++m_connection->Counters().capturingProcesses;
    }
    Picture picture;
    picture.frame = frame;
    picture.process = m_number;
    picture.surface = std::max(surface.number, 1U); // drawn before the first swap: of the first surface
    return picture;
}

void Capturer::TellDriverOnce(const Driver& driver)
{
    if (!std::exchange(m_isDriverTold, true)) {
        m_connection->Tell(EntryKind::Driver, NewPicture({}, 0), driver.Description());
    }
}

void Capturer::TellFrameDone(const CountedSurface& surface, bool isWhole)
{
    SharedCounters& counters = m_connection->Counters();
    // A frame that was cut short by the end of the program is none that anybody waits for.
    if (isWhole || counters.isOver == 0) {
        Picture done = NewPicture(surface, surface.swaps);
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
