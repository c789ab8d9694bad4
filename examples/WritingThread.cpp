// A host in a page that takes pictures on the thread that renders, and writes them on another.
//
//     WritingThread NAME     writes NAME0.png to NAME9.png, each with its _depth.png
//
// The thread that renders waits for nothing but the read-back, unless it is several pictures ahead.

#include "RenderedFrame.h"
#include "Util/GLScreenshotHandler.h"

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

/// Takes pictures and writes them as PNG files on a thread of its own.
class WritingThread : public Util::ImageSink
{
public:
    /// Whatever the order of the bytes: the handler that writes knows both.
    WritingThread() : ImageSink(Util::PixelOrder::OfTheDriver) {}

    /// Writes what was taken, then ends the thread.
    ~WritingThread() override
    {
        {
            const std::scoped_lock lock(m_mutex);
            m_isEnding = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }

    /// Memory that is written by now comes before memory that the process has not used yet.
    std::uint8_t* Lend(std::size_t bytes) override
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_taken.size() < Ahead; });
        if (m_lent.empty() && !m_free.empty()) {
            m_lent = std::move(m_free.back());
            m_free.pop_back();
        }
        m_lent.resize(bytes);
        return m_lent.data();
    }

    std::uint32_t Take(const Util::CapturedImage& image) override
    {
        const std::scoped_lock lock(m_mutex);
        m_taken.push_back({image, std::move(m_lent)}); // a vector that is moved keeps its address
        m_lent.clear();
        m_changed.notify_all();
        return m_hasFailed ? 1 : 0;
    }

private:
    static constexpr std::size_t Ahead = 4;

    struct Picture
    {
        Util::CapturedImage image;
        std::vector<std::uint8_t> memory;
    };

    void Write()
    {
        Util::GLScreenshotHandler handler(Util::ScreenshotWriter::FormatPNG);
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return m_isEnding || !m_taken.empty(); });
            if (m_taken.empty()) {
                return;
            }
            Picture picture = std::move(m_taken.front());
            m_taken.pop_front();
            lock.unlock();
            const bool isWritten = handler.WriteScreenshot(picture.image) == 0;
            lock.lock();
            m_hasFailed = m_hasFailed || !isWritten;
            m_free.push_back(std::move(picture.memory));
            m_changed.notify_all();
        }
    }

    std::mutex m_mutex; ///< guards all but the thread itself
    std::condition_variable m_changed;
    std::deque<Picture> m_taken;
    std::vector<std::vector<std::uint8_t>> m_free;
    std::vector<std::uint8_t> m_lent;
    bool m_isEnding = false;
    bool m_hasFailed = false;
    std::thread m_thread{&WritingThread::Write, this}; ///< last: it uses the others
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 || !MakeContextCurrent()) {
        std::fprintf(stderr, argc != 2 ? "usage: WritingThread NAME\n" : "no OpenGL ES 3 context\n");
        return 2;
    }
    WritingThread writing;
    Util::GLScreenshotHandler handler(Util::ScreenshotWriter::FormatPNG);
    handler.SetSink(&writing);
    for (int frame = 0; frame < 10; ++frame) {
        Render();
        const std::string name = argv[1] + std::to_string(frame);
        if (const auto status = handler.TakeScreenshot(name, GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
            status != 0) {
            std::fprintf(stderr, "no picture of frame %d: status %u\n", frame, status);
            return 1;
        }
    }
    return 0;
}
