#include "launcher/Report.h"

#include "launcher/ContactSheet.h"
#include "launcher/Say.h"

#include <algorithm>
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
        TakeFile(record);
        break;
    case RecordKind::FrameDone:
        m_framesDone.Add(record.picture.frame);
        if (record.picture.status == 0) {
            m_framesWhole.Add(record.picture.frame);
        }
        break;
    case RecordKind::Message:
        Say(record.text);
        break;
    case RecordKind::Log:
        SayAgain(record.text);
        break;
    }
}

void Report::TakeFile(const Record& record)
{
    const Picture& picture = record.picture;
    if (picture.status != 0) {
        const std::string target = picture.target == 0 ? "" : ", target " + std::to_string(picture.target);
        Say("frame " + std::to_string(picture.frame) + target + ": the " +
            (picture.isThumbnail ? "thumbnail of the " : "") + BufferName(picture) +
            " buffer was not captured whole (status " + std::to_string(picture.status) + ")");
        return;
    }
    m_files.push_back(
        {.picture = picture, .name = record.text, .path = m_output + "/" + record.text, .image = {}});
    ReadImageFile(m_files.back().path, m_files.back().image);
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

bool Report::Finish(const std::string& program, const SharedCounters& counters)
{
    if (counters.recordsLost != 0) {
        Say(Count(counters.recordsLost, "message") +
            " of the program were lost: the folder for temporary files is full, or out of its reach");
    }
    FrameList broken;
    for (File& file : m_files) {
        if (!ReadImageFile(file.path, file.image)) {
            file.image = {};
            Say(file.path + " is missing or is not a picture any more");
            broken.Add(file.picture.frame);
        }
    }
    std::erase_if(m_files, [](const File& file) { return file.image.bytes == 0; });

    FrameList due = m_settings.frames.Closed();
    due.Add(m_framesDone);
    const FrameList missing = due.Without(m_framesWhole.Without(broken));
    if (m_framesDone.IsEmpty()) {
        SayWhyNothingCame(program, counters.swaps);
    }
    if (!missing.IsEmpty()) {
        Say("not captured whole: frames " + missing.ToString());
    }
    WriteSheet(program, missing);
    ListFiles();
    return missing.IsEmpty();
}

void Report::SayWhyNothingCame(const std::string& program, std::uint64_t swaps) const
{
    if (!m_areHooksLoaded) {
        Say(program +
            " did not load framegrab's hooks: is it linked statically, set-user-ID, or built for another "
            "kind of processor?");
    } else if (m_swappingProcesses.empty() && swaps == 0) {
        Say(program + " ended before it showed a frame through EGL");
    } else if (swaps >= m_settings.frames.First()) {
        Say(program + " ended before it was done with a frame asked for");
    } else if (swaps > 0) {
        Say(program + " ended before frame " + std::to_string(m_settings.frames.First()) +
            ", the first asked for; it showed " + Count(swaps, "frame"));
    }
}

void Report::WriteSheet(const std::string& program, const FrameList& missing) const
{
    if (m_files.empty()) {
        return;
    }
    ContactSheet sheet(program);
    for (const File& file : m_files) {
        sheet.Add(file.picture, file.name, file.image);
    }
    if (!missing.IsEmpty()) {
        sheet.SetNote("Not captured whole: frames " + missing.ToString());
    }
    std::string error;
    if (sheet.Write(m_settings.output, error)) {
        Say("contact sheet: " + ContactSheet::UrlOf(m_settings.output));
    } else {
        Say(error);
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
