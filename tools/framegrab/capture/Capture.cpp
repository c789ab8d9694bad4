// The library that captures: opened by the hooks when a process swaps for the first time.

#include "Core/Log.h"
#include "Core/StdioWriter.h"
#include "Playback/PlaybackEnvironment.h"
#include "Util/GLScreenshotHandler.h"
#include "capture/Driver.h"
#include "capture/Targets.h"
#include "capture/Thumbnail.h"
#include "shared/CaptureInterface.h"
#include "shared/Session.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <unistd.h>

namespace Framegrab {

namespace {

/// Binds the window surface for drawing and reading until the end of the scope.
class SurfaceBinding
{
public:
    explicit SurfaceBinding(const Driver& driver) : m_driver(driver)
    {
        driver.getIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &m_drawFramebuffer);
        driver.getIntegerv(GL_READ_FRAMEBUFFER_BINDING, &m_readFramebuffer);
        driver.bindFramebuffer(GL_FRAMEBUFFER, 0);
    }
    SurfaceBinding(const SurfaceBinding&) = delete;
    SurfaceBinding& operator=(const SurfaceBinding&) = delete;
    ~SurfaceBinding()
    {
        m_driver.bindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(m_drawFramebuffer));
        m_driver.bindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(m_readFramebuffer));
    }

private:
    const Driver& m_driver;
    GLint m_drawFramebuffer = 0;
    GLint m_readFramebuffer = 0;
};

/// @return bits of a component of the window surface
int SurfaceBits(const Driver& driver, const Component& component)
{
    GLint bits = 0;
    driver.getIntegerv(component.surfaceBits, &bits);
    return bits;
}

/// The host's settings as framegrab's user wants them, until the end of the scope: the program may itself be
/// a host of the library.
class HostSettings
{
public:
    HostSettings(const Settings& settings, Core::Log::DebuggerSink sink)
        : m_opaque(Playback::PlaybackEnvironment::Instance().m_opaqueScreenshots), m_level(Log::m_level),
          m_zones(Log::m_zoneMask), m_pipes(Log::m_ioPipeMask),
          m_encoding(Util::ScreenshotWriter::GetPNGEncoding())
    {
        Util::ScreenshotWriter::SetPNGEncoding(EncodingKinds[settings.pngKind].encoding);
        Playback::PlaybackEnvironment::Instance().m_opaqueScreenshots = settings.opaque;
        Log::SetDebuggerSink(sink);
        Log::m_level = settings.log.level;
        Log::m_zoneMask = settings.log.zones;
        Log::m_ioPipeMask = RedirectedPipes(settings.log);
        if (settings.log.IsOn(Log::PipeFile)) {
            OpenFile(settings.output + "/" + LogFileName + ".log");
        }
    }
    HostSettings(const HostSettings&) = delete;
    HostSettings& operator=(const HostSettings&) = delete;
    ~HostSettings()
    {
        Log::m_ioPipeMask = m_pipes;
        Log::m_zoneMask = m_zones;
        Log::m_level = m_level;
        Log::SetFileWriter(nullptr);
        Log::SetDebuggerSink(nullptr);
        Playback::PlaybackEnvironment::Instance().m_opaqueScreenshots = m_opaque;
        Util::ScreenshotWriter::SetPNGEncoding(m_encoding);
    }

private:
    using Log = Core::Log;

    /// Opens the launcher's log file, in between frames closed: a program that closes files it did not open
    /// would otherwise get the log's lines in a file of its own.
    static void OpenFile(const std::string& path)
    {
        const auto file = std::make_shared<Core::StdioWriter>(path, false, true);
        if (file->Open() == 0) {
            Log::SetFileWriter(file);
        }
    }

    bool m_opaque;
    std::uint32_t m_level;
    std::uint64_t m_zones;
    std::uint32_t m_pipes;
    Util::ScreenshotWriter::PNGEncoding m_encoding;
};

/// The capture of a frame as the launcher sees it, which ends the program in between frames: half a picture
/// would otherwise stay behind.
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

/// A process under framegrab.
class Process
{
public:
    explicit Process(const char* session)
        : m_session(session), m_hasSettings(ReadSettings(m_session, m_settings)),
          m_pCounters(MapCounters(m_session, false))
    {}

    /// The calling process, null before its first swap. A child that was forked off without a new program
    /// needs a state of its own; its parent's may be locked by a thread that the child does not have.
    static Process* Current()
    {
        Process* const process = s_current;
        return process && process->m_process == getpid() ? process : nullptr;
    }
    static Process& Make(const char* session);

    CaptureAnswer BeforeSwap(const CaptureContext& context, EGLDisplay display, EGLSurface surface);
    CaptureAnswer CaptureTargetIfLeft(const CaptureContext& context, const TargetEvent& event);
    void AfterSwap() { m_pCounters->isLastFrameShown = 1; }

private:
    static void PassOnLog(const char* text);

    const Driver& DriverOf(const CaptureContext& context);
    bool CaptureFrame(const CaptureContext& context, EGLDisplay display, EGLSurface surface,
                      GLenum& takenError);
    bool CanCapture(const Driver& driver, EGLDisplay display, EGLSurface surface);
    bool CaptureBuffer(const Driver& driver, Buffer buffer);
    template <typename TakeFullSize>
    bool WritePicture(const Driver& driver, Picture picture, bool hasThumbnail, TakeFullSize takeFullSize);
    bool CaptureTarget(const Driver& driver, std::uint64_t frame, GLenum& takenError);
    Picture NewPicture(std::uint64_t frame);
    bool CountSwap();
    CaptureAnswer Answer() const;
    void Tell(RecordKind kind, const RecordFields& fields);
    void SayOnce(const std::string& text);

    static std::atomic<Process*> s_current; ///< never destroyed: threads may swap while the process ends

    pid_t m_process = getpid();
    std::string m_session;
    Settings m_settings;
    bool m_hasSettings;
    SharedCounters* m_pCounters;

    std::mutex m_mutex;            ///< held while a swap is counted and captured; guards what follows
    std::uint64_t m_frame = 0;     ///< swaps so far; the frame being drawn is the next
    std::uint32_t m_target = 0;    ///< targets drawn so far in the frame being drawn
    bool m_areTargetsWhole = true; ///< of the frame being drawn
    std::uint32_t m_number = 0;    ///< among the processes that capture; 0 before the first frame
    std::map<void*, std::unique_ptr<Driver>> m_drivers; ///< by functions that the program calls
    std::set<std::string> m_said;
};

std::atomic<Process*> Process::s_current{nullptr};

Process& Process::Make(const char* session)
{
    Process* known = s_current;
    Process* process = Current();
    while (!process) {
        auto fresh = std::make_unique<Process>(session);
        if (s_current.compare_exchange_strong(known, fresh.get())) {
            process = fresh.release();
        } else {
            process = Current();
        }
    }
    return *process;
}

CaptureAnswer Process::BeforeSwap(const CaptureContext& context, EGLDisplay display, EGLSurface surface)
{
    CaptureAnswer answer;
    std::uint64_t frame = 0;
    {
        const std::scoped_lock lock(m_mutex);
        const bool areTargetsWhole = m_areTargetsWhole;
        const bool isCounted = CountSwap();
        answer = Answer();
        if (!isCounted || !m_settings.frames.Contains(m_frame)) {
            return answer;
        }
        const FrameInProgress progress(*m_pCounters);
        if (progress.IsTooLate()) {
            return answer;
        }
        frame = m_frame;
        bool isWhole = false;
        try {
            isWhole = CaptureFrame(context, display, surface, answer.takenError) && areTargetsWhole;
        } catch (const std::exception& error) {
            SayOnce(std::string("a frame was not captured: ") + error.what());
        }
        Picture done = NewPicture(frame);
        done.status = isWhole ? 0 : 1;
        Tell(RecordKind::FrameDone, {.picture = &done});
    }
    if (!m_settings.frames.IsLast(frame)) {
        return answer;
    }
    m_pCounters->isLastFrameDone = 1;
    if (m_settings.quit) {
        // The program will be ended from outside. What it has printed is its user's.
        std::fflush(stdout);
        std::fflush(stderr);
        answer.tellWhenShown = true;
    }
    return answer;
}

CaptureAnswer Process::CaptureTargetIfLeft(const CaptureContext& context, const TargetEvent& event)
{
    const std::scoped_lock lock(m_mutex);
    CaptureAnswer answer = Answer();
    if (!answer.areTargetsWanted) {
        return answer;
    }
    try {
        const Driver& driver = DriverOf(context);
        if (!driver.getCurrentContext || driver.getCurrentContext() == EGL_NO_CONTEXT ||
            driver.CurrentVersion() == 0 || !IsTargetBound(driver)) {
            return answer;
        }
        answer.isTargetLeft = IsDoneWithTarget(driver, event);
        if (!answer.isTargetLeft) {
            return answer;
        }
        const FrameInProgress progress(*m_pCounters);
        if (progress.IsTooLate()) {
            return answer;
        }
        m_areTargetsWhole = CaptureTarget(driver, m_frame + 1, answer.takenError) && m_areTargetsWhole;
    } catch (const std::exception& error) {
        m_areTargetsWhole = false;
        SayOnce(std::string("a framebuffer object was not captured: ") + error.what());
    }
    return answer;
}

/// What is known before anything is captured.
CaptureAnswer Process::Answer() const
{
    return {.swaps = m_frame,
            .areTargetsWanted = m_hasSettings && m_pCounters && m_settings.frames.Contains(m_frame + 1)};
}

bool Process::CountSwap()
{
    if (++m_frame == 1) {
        Tell(RecordKind::FirstSwap, {});
    }
    m_target = 0;
    m_areTargetsWhole = true;
    if (!m_hasSettings || !m_pCounters) {
        SayOnce("nothing can be captured: the session's files in " + m_session + " cannot be read");
        return false;
    }
    std::uint64_t most = m_pCounters->swaps;
    while (most < m_frame && !m_pCounters->swaps.compare_exchange_weak(most, m_frame)) {
    }
    return true;
}

const Driver& Process::DriverOf(const CaptureContext& context)
{
    std::unique_ptr<Driver>& known = m_drivers[context.driverFunction];
    if (!known) {
        known = std::make_unique<Driver>(context.driverFunction, context.lookup);
    }
    return *known;
}

bool Process::CaptureFrame(const CaptureContext& context, EGLDisplay display, EGLSurface surface,
                           GLenum& takenError)
{
    const HostSettings settings(m_settings, &PassOnLog);
    const auto start = std::chrono::steady_clock::now();

    const bool isNew = !m_drivers.contains(context.driverFunction);
    const Driver& driver = DriverOf(context);
    if (isNew) {
        FRAMEGRAB_LOG(Core::Log::ZoneDll, "process %d swaps with %s", m_process,
                      driver.LibraryPath().c_str());
    }
    if (!CanCapture(driver, display, surface)) {
        return false;
    }
    const Driver::Scope scope(driver, takenError);
    const SurfaceBinding binding(driver);

    bool isWhole = true;
    for (const Buffer buffer : m_settings.buffers) {
        isWhole = CaptureBuffer(driver, buffer) && isWhole;
    }
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    FRAMEGRAB_LOG(Core::Log::ZoneCapture, "frame %llu captured in %.1f ms",
                  static_cast<unsigned long long>(m_frame), time.count());
    return isWhole;
}

bool Process::CanCapture(const Driver& driver, EGLDisplay display, EGLSurface surface)
{
    if (!driver.getCurrentContext || !driver.getCurrentDisplay || !driver.getCurrentSurface ||
        !driver.getString || !driver.getIntegerv || !driver.bindFramebuffer || !driver.pixelStorei) {
        SayOnce("the driver lacks functions of EGL 1.4 or OpenGL ES 3.0: nothing can be captured");
        return false;
    }
    if (driver.getCurrentContext() == EGL_NO_CONTEXT) {
        SayOnce("a thread swaps without a current context: such a frame is not captured");
        return false;
    }
    if (driver.getCurrentDisplay() != display || driver.getCurrentSurface(EGL_DRAW) != surface) {
        SayOnce("a surface is swapped that is not the current one: such a frame is not captured");
        return false;
    }
    if (driver.CurrentVersion() < 30) {
        const auto* const version = reinterpret_cast<const char*>(driver.getString(GL_VERSION));
        SayOnce(std::string("only OpenGL ES 3.0 and later is captured, and this context is \"") +
                (version ? version : "") + "\"");
        return false;
    }
    return true;
}

bool Process::CaptureBuffer(const Driver& driver, Buffer buffer)
{
    const BufferKind& kind = KindOf(buffer);
    const std::string format =
        FormatOf(kind, [&](const Component& component) { return SurfaceBits(driver, component); });
    if (format.empty()) {
        SayOnce(std::string("the surface has no ") + kind.name + " buffer");
        return true;
    }
    Picture picture = NewPicture(m_frame);
    picture.buffer = buffer;
    picture.format = decltype(picture.format)(format);
    return WritePicture(driver, picture, true, [&](Util::GLScreenshotHandler& handler) {
        return handler.TakeScreenshot(m_settings.output + "/" + FrameName(picture), kind.mask);
    });
}

template <typename TakeFullSize>
bool Process::WritePicture(const Driver& driver, Picture picture, bool hasThumbnail,
                           TakeFullSize takeFullSize)
{
    const ImageKind& image = ImageKinds[m_settings.imageKind];
    Util::GLScreenshotHandler handler(image.format);
    bool isWhole = true;
    const auto tell = [&](std::uint32_t status) {
        picture.status = status;
        const std::string name = FileStem(picture) + "." + image.name;
        Tell(RecordKind::File, {.picture = &picture, .text = name.c_str()});
        isWhole = status == 0 && isWhole;
    };
    const bool isThumbnailWanted = m_settings.thumbnailWidth != 0 && hasThumbnail;
    if (!m_settings.thumbnailOnly || !isThumbnailWanted) {
        tell(takeFullSize(handler));
    }
    if (isThumbnailWanted) {
        picture.isThumbnail = true;
        tell(TakeThumbnail(driver, handler, picture.buffer, m_settings.output + "/" + FileStem(picture),
                           m_settings.thumbnailWidth, m_settings.thumbnailHeight));
    }
    return isWhole;
}

bool Process::CaptureTarget(const Driver& driver, std::uint64_t frame, GLenum& takenError)
{
    const HostSettings settings(m_settings, &PassOnLog);
    const auto start = std::chrono::steady_clock::now();
    if (driver.CurrentVersion() < 31) {
        SayOnce("framebuffer objects are captured in contexts of OpenGL ES 3.1 and later only");
        return false;
    }
    // Counted whether or not it has what was asked for: its number is the same whatever that is.
    const std::uint32_t target = ++m_target;
    const Driver::Scope scope(driver, takenError);
    const TargetRead read(driver);

    std::set<std::string> leftOut;
    bool isWhole = true;
    for (const TargetAttachment& attachment : FindTargetAttachments(driver, m_settings.buffers, leftOut)) {
        Picture picture = NewPicture(frame);
        picture.target = target;
        picture.buffer = attachment.buffer;
        picture.attachment = attachment.number;
        picture.format = decltype(picture.format)(attachment.format);
        const auto take = [&](Util::GLScreenshotHandler& handler) {
            char number[32];
            std::snprintf(number, sizeof(number), "_target%02u", target);
            return handler.TakeScreenshotFBO(m_settings.output + "/" + FrameName(picture) + number,
                                             attachment.point);
        };
        isWhole = WritePicture(driver, picture, attachment.hasThumbnail, take) && isWhole;
    }
    for (const std::string& reason : leftOut) {
        SayOnce(reason);
    }
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    FRAMEGRAB_LOG(Core::Log::ZoneCapture, "frame %llu, target %u captured in %.1f ms",
                  static_cast<unsigned long long>(frame), target, time.count());
    return isWhole;
}

Picture Process::NewPicture(std::uint64_t frame)
{
    if (m_number == 0) {
        m_number = ++m_pCounters->capturingProcesses;
    }
    Picture picture;
    picture.frame = frame;
    picture.process = m_number;
    return picture;
}

void Process::Tell(RecordKind kind, const RecordFields& fields)
{
    if (!AppendRecord(m_session.c_str(), kind, fields) && m_pCounters) {
        ++m_pCounters->recordsLost;
    }
}

void Process::SayOnce(const std::string& text)
{
    if (m_said.insert(text).second) {
        Tell(RecordKind::Message, {.text = text.c_str()});
    }
}

void Process::PassOnLog(const char* text)
{
    if (Process* const process = Current()) {
        PassOn(process->m_settings.log, text, [process](const std::string& line) {
            process->Tell(RecordKind::Log, {.text = line.c_str()});
        });
    }
}

} // namespace

} // namespace Framegrab

#define FRAMEGRAB_EXPORT extern "C" __attribute__((visibility("default")))

// No exception may pass through the program's frames, which may not be C++.

FRAMEGRAB_EXPORT Framegrab::CaptureAnswer FramegrabBeforeSwap(const Framegrab::CaptureContext* context,
                                                              EGLDisplay display, EGLSurface surface) noexcept
{
    try {
        return Framegrab::Process::Make(context->session).BeforeSwap(*context, display, surface);
    } catch (...) {
        return {};
    }
}

FRAMEGRAB_EXPORT Framegrab::CaptureAnswer
FramegrabCaptureTargetIfLeft(const Framegrab::CaptureContext* context,
                             const Framegrab::TargetEvent* event) noexcept
{
    try {
        return Framegrab::Process::Make(context->session).CaptureTargetIfLeft(*context, *event);
    } catch (...) {
        return {};
    }
}

FRAMEGRAB_EXPORT void FramegrabAfterSwap() noexcept
{
    if (Framegrab::Process* const process = Framegrab::Process::Current()) {
        process->AfterSwap();
    }
}
