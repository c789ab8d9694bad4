#include "launcher/Report.h"

#include "launcher/ContactSheet.h"
#include "launcher/Say.h"
#include "launcher/Text.h"

#include <utility>

namespace Framegrab {

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
    PictureFile file{.picture = picture, .name = record.text, .image = {}};
    ReadImageFile(PathOf(file), file.image);
    m_bytes += file.image.bytes;
    m_files.push_back(std::move(file));
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
    return frames + ", " + Count(m_files.size(), "file") + ", " + Count(m_bytes, "byte");
}

bool Report::Finish(const std::string& program, const SharedCounters& counters)
{
    if (counters.recordsLost != 0) {
        Say(Count(counters.recordsLost, "message") +
            " of the program were lost: the folder for temporary files is full, or out of its reach");
    }
    FrameList broken;
    m_bytes = 0;
    for (PictureFile& file : m_files) {
        if (!ReadImageFile(PathOf(file), file.image)) {
            file.image = {};
            Say(PathOf(file) + " is missing or is not a picture any more");
            broken.Add(file.picture.frame);
        }
        m_bytes += file.image.bytes;
    }
    std::erase_if(m_files, [](const PictureFile& file) { return file.image.bytes == 0; });

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
    for (const PictureFile& file : m_files) {
        sheet.Add(file);
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
    // Of very many files, the first and the last few; the log has them all.
    constexpr std::size_t MostListed = 40;
    constexpr std::size_t Few = 10;
    const std::size_t count = m_files.size();
    const std::size_t end = count > MostListed ? Few : count;
    const std::size_t start = count > MostListed ? count - Few : count;
    for (std::size_t i = 0; i < count; ++i) {
        const ImageFile& image = m_files[i].image;
        const std::string line = PathOf(m_files[i]) + "  " + std::to_string(image.width) + "x" +
                                 std::to_string(image.height) + "  " + Count(image.bytes, "byte");
        if (i < end || i >= start) {
            Say(line);
        } else {
            SayInLog(line);
        }
        if (i + 1 == end && end < start) {
            SayAgain("... " + Count(start - end, "file") + " more ...");
        }
    }
    Say(Count(count, "file") + ", " + Count(m_bytes, "byte") + ", in " + m_output);
}

} // namespace Framegrab
