#include "shared/Session.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace Framegrab {

namespace {

// One field after another, each ended by a zero byte: the one byte that no path contains.
class FieldReader
{
public:
    explicit FieldReader(std::string_view fields) : m_fields(fields) {}

    std::string Next()
    {
        const std::size_t end = m_fields.find('\0');
        if (end == std::string_view::npos) {
            m_isWhole = false;
            return {};
        }
        std::string field(m_fields.substr(0, end));
        m_fields.remove_prefix(end + 1);
        return field;
    }

    std::uint64_t NextNumber() { return std::strtoull(Next().c_str(), nullptr, 10); }

    std::uint32_t NextIndex(std::size_t size)
    {
        const std::uint64_t index = NextNumber();
        m_isWhole = m_isWhole && index < size;
        return static_cast<std::uint32_t>(index);
    }

    bool NextFlag() { return NextIndex(2) == 1; }

    [[nodiscard]] bool IsWhole() const { return m_isWhole; }

private:
    std::string_view m_fields;
    bool m_isWhole = true;
};

} // namespace

bool WriteSettings(const std::string& folder, const Settings& settings)
{
    std::string text;
    const auto add = [&](const std::string& field) { text += field + '\0'; };
    add(settings.frames.ToString());
    add(std::to_string(settings.imageKind));
    add(std::to_string(settings.pngKind));
    add(settings.output);
    add(settings.opaque ? "1" : "0");
    add(std::to_string(settings.thumbnailWidth));
    add(std::to_string(settings.thumbnailHeight));
    add(settings.thumbnailOnly ? "1" : "0");
    add(settings.quit ? "1" : "0");
    add(std::to_string(settings.log.level));
    add(std::to_string(settings.log.zones));
    add(std::to_string(settings.log.pipes));
    add(std::to_string(settings.buffers.size()));
    for (const Buffer buffer : settings.buffers) {
        add(std::to_string(static_cast<unsigned>(buffer)));
    }
    std::ofstream file(folder + "/settings", std::ios::binary);
    file << text << std::flush;
    return file.good();
}

bool ReadSettings(const std::string& folder, Settings& settings)
{
    std::ifstream file(folder + "/settings", std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    FieldReader fields(text);
    std::string error;
    if (!FrameList::Parse(fields.Next(), settings.frames, error)) {
        return false;
    }
    settings.imageKind = fields.NextIndex(ImageKinds.size());
    settings.pngKind = fields.NextIndex(EncodingKinds.size());
    settings.output = fields.Next();
    settings.opaque = fields.NextFlag();
    settings.thumbnailWidth = static_cast<std::uint32_t>(fields.NextNumber());
    settings.thumbnailHeight = static_cast<std::uint32_t>(fields.NextNumber());
    settings.thumbnailOnly = fields.NextFlag();
    settings.quit = fields.NextFlag();
    settings.log.level = static_cast<std::uint32_t>(fields.NextNumber());
    settings.log.zones = fields.NextNumber();
    settings.log.pipes = static_cast<std::uint32_t>(fields.NextNumber());
    settings.buffers.resize(fields.NextIndex(Buffers.size() + 1));
    for (Buffer& buffer : settings.buffers) {
        buffer = static_cast<Buffer>(fields.NextIndex(Buffers.size()));
    }
    return fields.IsWhole();
}

SharedCounters* MapCounters(const std::string& folder, bool create)
{
    const int file =
        open((folder + "/counters").c_str(), O_RDWR | O_CLOEXEC | (create ? O_CREAT | O_EXCL : 0), 0600);
    if (file < 0) {
        return nullptr;
    }
    void* memory = MAP_FAILED;
    // Bytes that a file gets this way are zero, and so are the counters in them; and they have their place on
    // the disk, without which the first access would kill the program.
    if (!create || posix_fallocate(file, 0, sizeof(SharedCounters)) == 0) {
        memory = mmap(nullptr, sizeof(SharedCounters), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    close(file);
    return memory == MAP_FAILED ? nullptr : static_cast<SharedCounters*>(memory);
}

RecordReader::RecordReader(const std::string& folder)
    : m_file(open((folder + "/records").c_str(), O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600))
{}

RecordReader::~RecordReader()
{
    if (m_file >= 0) {
        close(m_file);
    }
}

std::vector<Record> RecordReader::ReadNew()
{
    char piece[4096];
    ssize_t size = 0;
    while ((size = read(m_file, piece, sizeof(piece))) > 0) {
        m_rest.append(piece, static_cast<std::size_t>(size));
    }

    std::vector<Record> records;
    std::size_t start = 0;
    for (RecordHead head; m_rest.size() - start >= sizeof(head);) {
        std::memcpy(&head, m_rest.data() + start, sizeof(head));
        const std::size_t pictureStart = start + sizeof(head);
        const std::size_t textStart = pictureStart + (head.hasPicture ? sizeof(Picture) : 0);
        if (textStart + head.textSize > m_rest.size()) {
            break;
        }
        Picture picture;
        if (head.hasPicture) {
            std::memcpy(&picture, m_rest.data() + pictureStart, sizeof(picture));
        }
        if (IsSound(picture)) {
            records.push_back({head.kind, head.process, picture, m_rest.substr(textStart, head.textSize)});
        }
        start = textStart + head.textSize;
    }
    m_rest.erase(0, start);
    return records;
}

} // namespace Framegrab
