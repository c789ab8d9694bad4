#include "Report.h"

#include "Say.h"

#include <numeric>

namespace Framegrab {

namespace {

std::string Count(std::uint64_t count, const std::string& thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

} // namespace

void Report::Take(const Record& record)
{
    switch (record.kind) {
    case RecordKind::HooksLoaded:
        m_areHooksLoaded = true;
        break;
    case RecordKind::FirstSwap:
        m_swappingProcesses.insert(record.process);
        break;
    case RecordKind::File:
        if (record.status == 0) {
            m_files.push_back({.frame = record.frame,
                               .buffer = record.buffer,
                               .path = m_output + "/" + record.text,
                               .image = {}});
            ReadImageFile(m_files.back().path, m_files.back().image);
        } else {
            const std::string target = record.target == 0 ? "" : ", target " + std::to_string(record.target);
            Say("frame " + std::to_string(record.frame) + target + ": the " + Buffers[record.buffer].name +
                " buffer was not captured whole (status " + std::to_string(record.status) + ")");
        }
        break;
    case RecordKind::FrameDone:
        m_framesDone.Add(record.frame);
        m_isLastFrameDone = m_isLastFrameDone || m_settings.frames.IsLast(record.frame);
        if (record.status == 0) {
            m_framesWhole.Add(record.frame);
        }
        break;
    case RecordKind::LastSwapped:
        m_isLastFrameShown = true;
        break;
    case RecordKind::Message:
        Say(record.text);
        break;
    case RecordKind::Log:
        SayAgain(record.text);
        break;
    }
}

std::string Report::Progress() const
{
    if (m_framesDone.IsEmpty()) {
        return "";
    }
    const FrameList& wanted = m_settings.frames;
    const std::uint64_t done = m_framesDone.Count();
    const std::string frames = wanted.IsOpen()
                                   ? Count(done, "frame")
                                   : std::to_string(done) + " of " + Count(wanted.Count(), "frame");
    return frames + ", " + Count(m_files.size(), "file") + ", " + Count(CountBytes(), "byte");
}

std::uint64_t Report::CountBytes() const
{
    return std::accumulate(m_files.begin(), m_files.end(), std::uint64_t{0},
                           [](std::uint64_t bytes, const File& file) { return bytes + file.image.bytes; });
}

bool Report::Finish(const std::string& program, std::uint64_t swaps)
{
    FrameList broken;
    for (File& file : m_files) {
        if (!ReadImageFile(file.path, file.image)) {
            file.image = {};
            Say(file.path + " is missing or is not a picture any more");
            broken.Add(file.frame);
        }
    }
    std::erase_if(m_files, [](const File& file) { return file.image.bytes == 0; });

    FrameList due = m_settings.frames.Closed();
    due.Add(m_framesDone);
    const FrameList missing = due.Without(m_framesWhole.Without(broken));
    if (m_framesDone.IsEmpty()) {
        SayWhyNothingCame(program, swaps);
    }
    if (!missing.IsEmpty()) {
        Say("not captured whole: frames " + missing.ToString());
    }
    ListFiles();
    return missing.IsEmpty();
}

void Report::SayWhyNothingCame(const std::string& program, std::uint64_t swaps) const
{
    if (!m_areHooksLoaded) {
        Say(program +
            " did not load framegrab's hooks: is it linked statically, set-user-ID, or built for another "
            "kind of processor?");
    } else if (m_swappingProcesses.empty()) {
        Say(program + " ended before it showed a frame through EGL");
    } else if (swaps > 0) {
        Say(program + " ended before frame " + std::to_string(m_settings.frames.First()) +
            ", the first asked for; it showed " + Count(swaps, "frame"));
    }
}

void Report::ListFiles() const
{
    for (const File& file : m_files) {
        const ImageFile& image = file.image;
        Say(file.path + "  " + std::to_string(image.width) + "x" + std::to_string(image.height) + "  " +
            Count(image.bytes, "byte"));
    }
    Say(Count(m_files.size(), "file") + ", " + Count(CountBytes(), "byte") + ", in " + m_output);
}

} // namespace Framegrab
