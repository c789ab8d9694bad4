#include "launcher/Report.h"

#include "launcher/ContactSheet.h"
#include "launcher/LauncherLog.h"
#include "launcher/Say.h"
#include "launcher/Text.h"

#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

namespace Framegrab {

namespace {

/// @return in bytes; 0 of a file that is not there
std::uint64_t FileSize(const std::string& path)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

} // namespace

void Report::Take(const Record& record)
{
    for (const std::string& line : record.log) {
        LogLine(line);
    }
    switch (record.kind) {
    case RecordKind::HooksLoaded:
        m_areHooksLoaded = true;
        break;
    case RecordKind::FirstSwap:
        m_isProcessLeftOut = true;
        break;
    case RecordKind::File:
        TakeFile(record);
        break;
    case RecordKind::FrameDone:
        ++m_framesDoneCount;
        m_framesDone.Add(record.file.picture.frame);
        if (record.file.picture.status == 0 && !m_cutFrames.contains(FrameName(record.file.picture))) {
            m_framesWhole.Add(record.file.picture.frame);
            m_framesWholeOf[record.file.picture.surface].Add(record.file.picture.frame);
        }
        break;
    case RecordKind::Driver:
        m_manifest.SetDriver(record.file.picture.process, record.text);
        break;
    case RecordKind::Message:
        Say(record.text);
        break;
    case RecordKind::Log:
        LogLine(record.text);
        break;
    }
}

void Report::TakeFile(const Record& record)
{
    const Picture& picture = record.file.picture;
    if (picture.status != 0 || !record.error.empty()) {
        const std::string window =
            picture.surface == 1 ? "" : " of window " + std::to_string(picture.surface);
        const std::string target = picture.target == 0 ? "" : ", target " + std::to_string(picture.target);
        Say("frame " + std::to_string(picture.frame) + window + target + ": the " +
            (picture.status == 0   ? "values of the "
             : picture.isThumbnail ? "thumbnail of the "
                                   : "") +
            BufferName(picture) + " buffer " +
            (picture.status == 0 ? "were not written"
                                 : "was not captured whole (status " + std::to_string(picture.status) + ")") +
            (record.error.empty() ? "" : ": " + record.error));
        m_cutFrames.insert(FrameName(picture));
    }
    if (picture.status != 0) {
        m_manifest.Add(record.file);
        return;
    }
    Legend& integers = m_integers[picture.buffer];
    for (auto next = record.integers.begin(); next != record.integers.end() && integers.size() < MostInLegend;
         ++next) {
        integers.insert(*next);
    }
    PictureFile file = record.file;
    file.bytes = FileSize(PathOf(file));
    m_manifest.Add(file);
    CountFile(file);
    m_files.push_back(std::move(file));
}

void Report::CountFile(const PictureFile& file)
{
    m_fileCount += file.valuesName.empty() ? 1U : 2U;
    m_bytes += file.bytes + file.valuesBytes;
}

std::string Report::Progress(std::uint64_t framesRead) const
{
    if (m_framesDone.IsEmpty()) {
        return "";
    }
    const FrameList& wanted = m_settings.frames;
    const std::uint64_t done = m_framesDone.Count();
    const std::string frames = wanted.IsOpen() || wanted.IsEmpty()
                                   ? Count(done, "frame")
                                   : std::to_string(done) + " of " + Count(wanted.Count(), "frame");
    const std::string unwritten = framesRead > m_framesDoneCount
                                      ? " (" + std::to_string(framesRead - m_framesDoneCount) + " more read)"
                                      : "";
    return frames + unwritten + ", " + Count(m_fileCount, "file") + ", " + Count(m_bytes, "byte");
}

FrameList Report::Finish(const std::string& program, const SharedCounters& counters)
{
    FrameList broken;
    for (PictureFile& file : m_files) {
        if (file.bytes == 0 || FileSize(PathOf(file)) != file.bytes) {
            file.bytes = 0;
            Say(PathOf(file) + " is missing or is not what was written any more");
            broken.Add(file.picture.frame);
        }
    }
    std::erase_if(m_files, [](const PictureFile& file) { return file.bytes == 0; });
    m_bytes = 0;
    m_fileCount = 0;
    for (const PictureFile& file : m_files) {
        CountFile(file);
    }

    FrameList due = m_settings.frames.Closed();
    due.Add(m_framesDone);
    FrameList missing = due.Without(m_framesWhole.Without(broken));
    for (const std::uint32_t window : m_settings.windows) {
        missing.Add(m_settings.frames.Closed().Without(m_framesWholeOf[window]));
    }
    if (m_framesDone.IsEmpty()) {
        SayWhyNothingCame(program, counters);
    } else if (IsTriggerUnserved(counters)) {
        Say(program + " ended before it showed all frames that the trigger asked for");
    }
    if (!missing.IsEmpty()) {
        Say("not captured whole: frames " + missing.ToString());
    }
    WriteSheet(program, missing);
    ListFiles();
    return missing;
}

void Report::SayWhyNothingCame(const std::string& program, const SharedCounters& counters) const
{
    const std::uint64_t swaps = counters.swaps;
    if (!m_areHooksLoaded) {
        Say(program +
            " did not load framegrab's hooks: is it linked statically, set-user-ID, or built for another "
            "kind of processor?");
    } else if (!m_isProcessLeftOut && swaps == 0) {
        Say(program +
            " ended before it showed a frame through EGL; framegrab cannot see those of a program that first "
            "becomes another user's, changes its root or uses up its descriptors");
    } else if (m_settings.triggerFrames != 0) {
        Say(program +
            (counters.framesAsked != 0 ? " ended before it showed a frame after the trigger"
                                       : " ended without a trigger") +
            "; it showed " + Count(swaps, "frame"));
    } else if (swaps >= m_settings.frames.First()) {
        Say(program + " ended before " +
            (m_settings.windows.empty() ? "it was done with" : "a window asked for had shown") +
            " a frame asked for");
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
    for (const auto& [buffer, integers] : m_integers) {
        sheet.AddLegend(buffer, integers);
    }
    if (!missing.IsEmpty()) {
        sheet.SetNote("Not captured whole: frames " + missing.ToString());
    }
    std::string error;
    if (sheet.Write(m_folder, error)) {
        Say("contact sheet: " + ContactSheet::UrlOf(m_folder));
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
        const Picture& picture = m_files[i].picture;
        const std::string line =
            PathOf(m_files[i]) + "  " + std::to_string(picture.width) + "x" + std::to_string(picture.height) +
            "  " + Count(m_files[i].bytes, "byte") +
            (m_files[i].valuesName.empty()
                 ? ""
                 : ", values in " + m_files[i].valuesName + "  " + Count(m_files[i].valuesBytes, "byte"));
        if (i < end || i >= start) {
            Say(line);
        } else {
            SayInLog(line);
        }
        if (i + 1 == end && end < start) {
            SayAgain("... " + Count(start - end, "file") + " more ...");
        }
    }
    Say(Count(m_fileCount, "file") + ", " + Count(m_bytes, "byte") + ", in " + m_output);
}

} // namespace Framegrab
