#include "launcher/Manifest.h"

#include "framegrab/version.h"
#include "launcher/InternalFormat.h"
#include "launcher/OutputFolder.h"
#include "launcher/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace Framegrab {

namespace {

using Json = nlohmann::ordered_json;

/// By this the manifest is told from a file of that name that somebody else has put there.
constexpr std::string_view Mark = R"("writtenBy":"framegrab )";

/// @return a value on one line; bytes that are not UTF-8 become U+FFFD
std::string Printed(const Json& value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// Adds a text to an object, and its bytes beside it where they are lost in it.
void AddText(Json& object, const std::string& name, const std::string& text)
{
    object[name] = text;
    if (!IsUtf8(text)) {
        object[name + "Base64"] = Base64(text);
    }
}

void AddTexts(Json& object, const std::string& name, const std::vector<std::string>& texts)
{
    object[name] = texts;
    if (!std::all_of(texts.begin(), texts.end(), IsUtf8)) {
        Json& bytes = object[name + "Base64"] = Json::array();
        for (const std::string& text : texts) {
            bytes.push_back(Base64(text));
        }
    }
}

/// @return nanoseconds as seconds, to the microsecond
double Seconds(std::int64_t nanoseconds)
{
    const std::int64_t microseconds = nanoseconds / 1000;
    return static_cast<double>(microseconds) / 1e6;
}

Json Described(const PictureFile& file)
{
    const Picture& picture = file.picture;
    Json object;
    AddText(object, "name", file.name);
    object["kind"] = KindOf(picture.buffer).name;
    object["thumbnail"] = picture.isThumbnail;
    object["frame"] = picture.frame;
    object["process"] = picture.process;
    object["surface"] = picture.surface;
    object["target"] = picture.target != 0 ? Json(picture.target) : Json();
    object["attachment"] =
        picture.target != 0 && picture.buffer == Buffer::Color ? Json(picture.attachment) : Json();
    object["width"] = picture.width;
    object["height"] = picture.height;
    object["format"] = picture.format.ToString();
    object["internalFormat"] =
        picture.internalFormat != 0 ? Json(InternalFormatName(picture.internalFormat)) : Json();
    object["samples"] = picture.samples;
    object["bytes"] = file.bytes;
    object["status"] = picture.status;
    object["readAt"] = Seconds(picture.readAt);
    object["readSeconds"] = Seconds(picture.readTime);
    object["writtenAt"] = Seconds(file.writtenAt);
    object["writeSeconds"] = Seconds(file.writeTime);
    if (!file.valuesName.empty()) {
        AddText(object, "values", file.valuesName);
        object["valuesBytes"] = file.valuesBytes;
    }
    if (file.depthRange) {
        object["depthRange"] = {file.depthRange->least, file.depthRange->greatest};
    }
    if (file.largest) {
        object["largest"] = *file.largest;
    }
    return object;
}

} // namespace

Manifest::~Manifest()
{
    if (m_file >= 0) {
        close(m_file);
    }
}

bool Manifest::Open(const std::string& folder, const std::vector<std::string>& command, std::string& error)
{
    m_path = folder + "/" + FileName;
    if (!IsMissingOrMarked(m_path, Mark)) {
        error = m_path + " is not framegrab's: it stays, and there is no manifest";
        return false;
    }
    m_file = open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (m_file < 0) {
        error = "the manifest " + m_path + " cannot be written: " + std::strerror(errno);
        return false;
    }
    Json object;
    object["version"] = Version;
    object["writtenBy"] = "framegrab " FRAMEGRAB_VERSION;
    AddText(object, "program", command.front());
    AddTexts(object, "arguments", {command.begin() + 1, command.end()});
    AddText(object, "folder", folder);
    std::string start = Printed(object);
    start.back() = ',';
    Write(start + "\n\"files\": [");
    return true;
}

void Manifest::SetDriver(std::uint32_t process, std::string_view lines)
{
    constexpr std::string_view Colon = ": ";
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        const std::size_t nameEnd = std::min(line.find(Colon), line.size());
        const std::size_t valueStart = std::min(nameEnd + Colon.size(), line.size());
        m_drivers[process][std::string(line.substr(0, nameEnd))] = line.substr(valueStart);
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    }
}

void Manifest::Add(const PictureFile& file)
{
    Write((m_isEmpty ? "\n" : ",\n") + Printed(Described(file)));
    m_isEmpty = false;
}

void Manifest::Finish(const std::string& missing, int status)
{
    Json object;
    object["missing"] = missing;
    object["status"] = status;
    m_result = Printed(object);
    Write("");
}

/// @return what closes the object after the pictures
std::string Manifest::End() const
{
    Json drivers = Json::object();
    for (const auto& [process, strings] : m_drivers) {
        Json& driver = drivers[std::to_string(process)] = Json::object();
        for (const auto& [name, value] : strings) {
            AddText(driver, name, value);
        }
    }
    std::string end = "\n],\n\"drivers\": " + Printed(drivers);
    if (!m_result.empty()) {
        end += ",\n" + m_result.substr(1, m_result.size() - 2);
    }
    return end + "}\n";
}

/// Puts a line before the end.
void Manifest::Write(std::string_view line)
{
    if (m_file < 0 || !m_error.empty()) {
        return;
    }
    // One write, unless it is cut short; the next one tells why.
    const auto write = [&](std::string_view text) {
        ssize_t size = 0;
        for (std::int64_t at = m_size; !text.empty() && size >= 0; at += size) {
            size = pwrite(m_file, text.data(), text.size(), at);
            text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        }
        return text.empty();
    };
    const std::string end = End();
    const std::string text = std::string(line) + end;
    if (write(text)) {
        m_size += static_cast<std::int64_t>(line.size());
    } else {
        m_error = m_path + " is not whole: " + std::strerror(errno);
        if (m_size == 0) {
            unlink(m_path.c_str()); // not even its beginning
        } else {
            write(end); // where there was an end before, there is room for one
        }
    }
    // An end never becomes shorter, so only a line that was given up leaves anything behind it.
    [[maybe_unused]] const int ignored =
        m_error.empty() ? 0 : ftruncate(m_file, m_size + static_cast<std::int64_t>(end.size()));
}

} // namespace Framegrab
