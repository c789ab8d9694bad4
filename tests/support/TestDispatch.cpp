#include "support/TestDispatch.h"

#include "DriverTables.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace TestSupport {

namespace {

constexpr int ContextsOwnVersion = -1;

/// One changed table: what differs from the driver's, by position.
struct Changes
{
    std::array<int, Core::GLESNames.size()> withheld{};
    std::array<void*, Core::GLESNames.size()> replacements{};
};

Changes s_changes[2];
int s_version = ContextsOwnVersion;
std::vector<Call>* s_calls = nullptr;
std::mutex s_callsMutex;

Changes& ChangesOf(Table table)
{
    return s_changes[table == Table::EGL ? 1 : 0];
}

void* const* DriverTable(Table table)
{
    static const Core::DriverTables s_driver(&Core::FindInSystemDriver);
    if (table == Table::EGL) {
        return s_driver.EGL();
    }
    return s_version == ContextsOwnVersion ? s_driver.GLES() : s_driver.GLES(s_version);
}

const char* NameOf(Table table, std::size_t position)
{
    return table == Table::EGL ? Core::EGLNames[position] : Core::GLESNames[position];
}

void* FunctionAt(Table table, std::size_t position, void* const* driverTable)
{
    void* const replacement = ChangesOf(table).replacements[position];
    return replacement ? replacement : driverTable[position];
}

template <typename Argument>
std::int64_t ValueOf(Argument argument)
{
    if constexpr (std::is_pointer_v<Argument>) {
        return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(argument));
    } else {
        return static_cast<std::int64_t>(argument);
    }
}

/// Notes a call and passes it on.
template <Table Of, std::size_t Position, typename Function>
struct Recorded;

template <Table Of, std::size_t Position, typename Result, typename... Arguments>
struct Recorded<Of, Position, Result (*)(Arguments...)>
{
    static Result Call(Arguments... arguments)
    {
        {
            const std::scoped_lock lock(s_callsMutex);
            s_calls->push_back({NameOf(Of, Position), {ValueOf(arguments)...}});
        }
        void* const function = FunctionAt(Of, Position, DriverTable(Of));
        return reinterpret_cast<Result (*)(Arguments...)>(function)(arguments...);
    }
};

// The library and the host agree on where each function is.
#define UTIL_GL_POSITION(position, name, type)                                                               \
    static_assert(std::string_view("gl" #name) == Core::GLESNames[position]);
#define UTIL_EGL_POSITION(position, name, type)                                                              \
    static_assert(std::string_view("egl" #name) == Core::EGLNames[position]);
UTIL_GL_ENTRY_POINTS(UTIL_GL_POSITION)
UTIL_EGL_ENTRY_POINTS(UTIL_EGL_POSITION)
#undef UTIL_GL_POSITION
#undef UTIL_EGL_POSITION

template <Table Of>
const auto& Recorders()
{
    static const auto s_recorders = [] {
        std::array<void*, Core::GLESNames.size()> recorders{};
#define UTIL_RECORDER(position, name, type)                                                                  \
    recorders[position] = reinterpret_cast<void*>(&Recorded<Of, position, type>::Call);
        if constexpr (Of == Table::EGL) {
            UTIL_EGL_ENTRY_POINTS(UTIL_RECORDER)
        } else {
            UTIL_GL_ENTRY_POINTS(UTIL_RECORDER)
        }
#undef UTIL_RECORDER
        return recorders;
    }();
    return s_recorders;
}

/// The table as the library is to see it now. It is made anew for each reader, since the driver's own table
/// follows the current context.
template <Table Of>
void* const* ChangedTable()
{
    constexpr std::size_t Size = Of == Table::EGL ? Core::EGLNames.size() : Core::GLESNames.size();
    thread_local std::array<void*, Size> table;

    void* const* const driverTable = DriverTable(Of);
    for (std::size_t position = 0; position < Size; ++position) {
        void* const function = FunctionAt(Of, position, driverTable);
        void* const recorder = s_calls && function ? Recorders<Of>()[position] : nullptr;
        table[position] = recorder ? recorder : function;
        if (ChangesOf(Of).withheld[position] > 0) {
            table[position] = nullptr;
        }
    }
    return table.data();
}

std::pair<Table, std::size_t> Find(std::string_view name)
{
    const auto is = [name](const char* candidate) { return candidate && name == candidate; };
    const auto gl = std::ranges::find_if(Core::GLESNames, is);
    if (gl != Core::GLESNames.end()) {
        return {Table::GL, gl - Core::GLESNames.begin()};
    }
    const auto egl = std::ranges::find_if(Core::EGLNames, is);
    if (egl != Core::EGLNames.end()) {
        return {Table::EGL, egl - Core::EGLNames.begin()};
    }
    throw std::out_of_range("no such function in the dispatch tables: " + std::string(name));
}

} // namespace

const std::vector<DispatchEntry>& DispatchEntries()
{
#define UTIL_GL_ENTRY(position, name, type) {Table::GL, position, "gl" #name},
#define UTIL_EGL_ENTRY(position, name, type) {Table::EGL, position, "egl" #name},
    static const std::vector<DispatchEntry> s_entries{UTIL_GL_ENTRY_POINTS(UTIL_GL_ENTRY)
                                                          UTIL_EGL_ENTRY_POINTS(UTIL_EGL_ENTRY)};
#undef UTIL_GL_ENTRY
#undef UTIL_EGL_ENTRY
    return s_entries;
}

WithheldEntry::WithheldEntry(std::string_view name) : WithheldEntry(Find(name).first, Find(name).second) {}

WithheldEntry::WithheldEntry(Table table, std::size_t position) : m_table(table), m_position(position)
{
    ++ChangesOf(table).withheld.at(position);
}

WithheldEntry::~WithheldEntry()
{
    --ChangesOf(m_table).withheld[m_position];
}

OfferedVersion::OfferedVersion(int version) : m_previous(std::exchange(s_version, version)) {}

OfferedVersion::~OfferedVersion()
{
    s_version = m_previous;
}

void* ExchangeEntry(Table table, std::size_t position, void* function)
{
    return std::exchange(ChangesOf(table).replacements.at(position), function);
}

CallRecorder::CallRecorder()
{
    if (s_calls) {
        throw std::logic_error("another recorder is at work");
    }
    s_calls = &m_calls;
}

CallRecorder::~CallRecorder()
{
    s_calls = nullptr;
}

std::size_t CallRecorder::CountGL() const
{
    return static_cast<std::size_t>(
        std::ranges::count_if(m_calls, [](const Call& call) { return call.name.starts_with("gl"); }));
}

} // namespace TestSupport

namespace Core {

void* const* KHRLayer::GLESProc()
{
    return TestSupport::ChangedTable<TestSupport::Table::GL>();
}

void* const* KHRLayer::EGLProc()
{
    return TestSupport::ChangedTable<TestSupport::Table::EGL>();
}

} // namespace Core
