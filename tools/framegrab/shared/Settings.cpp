#include "shared/Settings.h"

#include <cstring>
#include <type_traits>

namespace Framegrab {

namespace {

class Writer
{
public:
    template <typename Value>
    void operator()(const Value& value)
    {
        static_assert(std::is_integral_v<Value> || std::is_enum_v<Value>);
        const auto* const start = reinterpret_cast<const std::uint8_t*>(&value);
        bytes.insert(bytes.end(), start, start + sizeof(value));
    }

    void operator()(const FrameList& frames)
    {
        const std::string text = frames.ToString();
        (*this)(text.size());
        bytes.insert(bytes.end(), text.begin(), text.end());
    }

    template <typename Element>
    void operator()(const std::vector<Element>& elements)
    {
        (*this)(elements.size());
        for (const Element element : elements) {
            (*this)(element);
        }
    }

    std::vector<std::uint8_t> bytes;
};

class Reader
{
public:
    explicit Reader(std::span<const std::uint8_t> bytes) : rest(bytes) {}

    template <typename Value>
    void operator()(Value& value)
    {
        static_assert(std::is_integral_v<Value> || std::is_enum_v<Value>);
        if (Has(sizeof(value))) {
            std::memcpy(&value, rest.data(), sizeof(value));
            rest = rest.subspan(sizeof(value));
        }
    }

    void operator()(FrameList& frames)
    {
        std::size_t size = 0;
        (*this)(size);
        if (Has(size)) {
            std::string ignored;
            const std::string_view text(reinterpret_cast<const char*>(rest.data()), size);
            frames = {};
            isWhole = text.empty() || FrameList::Parse(text, frames, ignored);
            rest = rest.subspan(size);
        }
    }

    template <typename Element>
    void operator()(std::vector<Element>& elements)
    {
        std::size_t size = 0;
        (*this)(size);
        if (Has(size)) {
            elements.resize(size);
            for (Element& element : elements) {
                (*this)(element);
            }
        }
    }

    void operator()(Buffer& buffer)
    {
        operator()<Buffer>(buffer);
        isWhole = isWhole && IsSound(buffer);
    }

    bool Has(std::size_t size)
    {
        isWhole = isWhole && size <= rest.size();
        return isWhole;
    }

    std::span<const std::uint8_t> rest;
    bool isWhole = true;
};

} // namespace

std::vector<std::uint8_t> ToBytes(const Settings& settings)
{
    Writer writer;
    Settings::VisitAll(settings, writer);
    return writer.bytes;
}

bool FromBytes(std::span<const std::uint8_t> bytes, Settings& settings)
{
    Reader reader(bytes);
    Settings::VisitAll(settings, reader);
    return reader.isWhole && reader.rest.empty();
}

} // namespace Framegrab
