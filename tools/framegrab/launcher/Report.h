#pragma once

#include "launcher/Manifest.h"
#include "launcher/PictureFile.h"
#include "launcher/Record.h"
#include "shared/SessionMemory.h"
#include "shared/Settings.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace Framegrab {

/// What came of a session, gathered from its records.
class Report
{
public:
    /// @param settings  what was asked for; outlives this object
    /// @param folder    of the pictures, from the root
    /// @param output    the same as the user wrote it, for messages
    /// @param manifest  gets every picture; outlives this object
    Report(const Settings& settings, std::string folder, std::string output, Manifest& manifest)
        : m_settings(settings), m_folder(std::move(folder)), m_output(std::move(output)), m_manifest(manifest)
    {}

    /// Notes one record; what is of interest at once is said.
    void Take(const Record& record);

    /// How much was done so far, in words: frames of those asked for, files, bytes. Empty before the first.
    ///
    /// @param framesRead  how many wait to be written, besides
    [[nodiscard]] std::string Progress(std::uint64_t framesRead) const;

    /// Checks the files on the disk and says what is there and what is missing.
    ///
    /// @param program   name of the program, for messages
    /// @param counters  of the session
    /// @return the frames asked for that are not there whole
    FrameList Finish(const std::string& program, const SharedCounters& counters);

    /// @return whether a process showed frames that could not be captured, whatever they were
    [[nodiscard]] bool IsProcessLeftOut() const { return m_isProcessLeftOut; }

    /// @return whether a trigger never came, or came too late for all frames that it asked for
    [[nodiscard]] bool IsTriggerUnserved(const SharedCounters& counters) const
    {
        return m_settings.triggerFrames != 0 &&
               (m_framesDone.IsEmpty() || counters.framesServed < counters.framesAsked);
    }

private:
    void TakeFile(const Record& record);
    void CountFile(const PictureFile& file);
    void SayWhyNothingCame(const std::string& program, const SharedCounters& counters) const;
    void ListFiles() const;
    void WriteSheet(const std::string& program, const FrameList& missing) const;
    [[nodiscard]] std::string PathOf(const PictureFile& file) const { return m_output + "/" + file.name; }

    const Settings& m_settings;
    std::string m_folder;
    std::string m_output;
    Manifest& m_manifest;
    std::vector<PictureFile> m_files;    ///< in the order in which they were written
    std::uint64_t m_fileCount = 0;       ///< of all, those with values as well
    std::uint64_t m_bytes = 0;           ///< the same
    std::map<Buffer, Legend> m_integers; ///< what the colors of pictures stand for
    FrameList m_framesDone;
    FrameList m_framesWhole;                            ///< in at least one process, of at least one window
    std::map<std::uint32_t, FrameList> m_framesWholeOf; ///< the same, of each window
    std::set<std::string> m_cutFrames;                  ///< by `FrameName`: a picture is missing
    std::uint64_t m_framesDoneCount = 0;                ///< of all processes
    bool m_isProcessLeftOut = false;
    bool m_areHooksLoaded = false;
};

} // namespace Framegrab
