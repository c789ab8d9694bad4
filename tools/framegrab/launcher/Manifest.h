#pragma once

#include "launcher/PictureFile.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Framegrab {

/// A file for scripts, beside the pictures: what was run, and a line for each picture.
///
/// It is one JSON object, whole and valid after each line: the end that closes it is written with the line,
/// in one write, over the end that the last line has. So a reader may look at any time, and whatever ends
/// framegrab leaves a manifest of the pictures done so far. Only a write that is cut in itself, by SIGKILL in
/// the middle of it or a disk that is full and stays so, leaves a last line to be thrown away.
///
/// @see RFC 8259
class Manifest
{
public:
    static constexpr const char* FileName = "manifest.json";

    /// Of the format: a reader need not look at a higher one.
    static constexpr int Version = 1;

    Manifest() = default;
    Manifest(const Manifest&) = delete;
    Manifest& operator=(const Manifest&) = delete;
    ~Manifest();

    /// Begins the file, in place of one from before.
    ///
    /// @param command  the program and its arguments, of any bytes
    /// @param error    why not, in words
    /// @return whether it is there; without, the other operations do nothing
    bool Open(const std::string& folder, const std::vector<std::string>& command, std::string& error);

    /// Notes what a process captures with.
    ///
    /// @param lines  each a name, ": " and a value, e.g. "GL_RENDERER: llvmpipe"
    void SetDriver(std::uint32_t process, std::string_view lines);

    /// Adds a picture, one that could not be written as well.
    void Add(const PictureFile& file);

    /// Notes how it has ended.
    ///
    /// @param missing  frames that were not captured whole, as a list
    /// @param status   of framegrab
    void Finish(const std::string& missing, int status);

    /// @return why the file is not whole, in words; empty when it is
    [[nodiscard]] const std::string& Error() const { return m_error; }

private:
    void Write(std::string_view line);
    [[nodiscard]] std::string End() const;

    std::string m_path;
    std::string m_error;
    int m_file = -1;
    std::int64_t m_size = 0; ///< bytes up to the end that closes the object
    bool m_isEmpty = true;   ///< no picture yet
    std::map<std::uint32_t, std::map<std::string, std::string>> m_drivers; ///< by process
    std::string m_result;                                                  ///< the members that `Finish` adds
};

} // namespace Framegrab
