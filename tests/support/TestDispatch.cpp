#include "support/TestDispatch.h"

#include "DriverTables.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace TestSupport {

namespace {

char s_withheld = 0; ///< its address stands for an entry that is null

/// What differs from the driver's tables, by table and position.
std::array<void*, Core::GLESNames.size()> s_changes[2];
std::size_t* s_calls = nullptr;
int s_version = 0; ///< 0 for the context's own

void* const* DriverTable(Table table)
{
    static const Core::DriverTables s_driver(&Core::FindInSystemDriver);
    return table == Table::EGL ? s_driver.EGL() : s_version == 0 ? s_driver.GLES() : s_driver.GLES(s_version);
}

void* EntryAt(Table table, std::size_t position, void* const* driverTable)
{
    void* const change = s_changes[table == Table::EGL ? 1 : 0][position];
    return change == &s_withheld ? nullptr : change ? change : driverTable[position];
}

/// Counts a call and passes it on.
template <std::size_t Position, typename Function>
struct Counted;

template <std::size_t Position, typename Result, typename... Arguments>
struct Counted<Position, Result (*)(Arguments...)>
{
    static Result Call(Arguments... arguments)
    {
        ++*s_calls;
        void* const function = EntryAt(Table::GL, Position, DriverTable(Table::GL));
        return reinterpret_cast<Result (*)(Arguments...)>(function)(arguments...);
    }
};

/// The table as the library is to see it now. It is made anew for each reader, since the driver's own table
/// follows the current context.
template <Table Of>
void* const* ChangedTable()
{
    constexpr std::size_t Size = Of == Table::EGL ? Core::EGLNames.size() : Core::GLESNames.size();
    thread_local std::array<void*, Size> table;
    void* const* const driverTable = DriverTable(Of);
    for (std::size_t position = 0; position < Size; ++position) {
        table[position] = EntryAt(Of, position, driverTable);
    }
    if constexpr (Of == Table::GL) {
        if (s_calls) {
#define UTIL_COUNTED(position, name, type)                                                                   \
    table[position] = table[position] ? reinterpret_cast<void*>(&Counted<position, type>::Call) : nullptr;
            UTIL_GL_ENTRY_POINTS(UTIL_COUNTED)
#undef UTIL_COUNTED
        }
    }
    return table.data();
}

// The library and the host agree on where each function is.
#define UTIL_GL_POSITION(position, name, type)                                                               \
    static_assert(std::string_view("gl" #name) == Core::GLESNames[position]);
#define UTIL_EGL_POSITION(position, name, type)                                                              \
    static_assert(std::string_view("egl" #name) == Core::EGLNames[position]);
UTIL_GL_ENTRY_POINTS(UTIL_GL_POSITION)
UTIL_EGL_ENTRY_POINTS(UTIL_EGL_POSITION)
#undef UTIL_GL_POSITION
#undef UTIL_EGL_POSITION

} // namespace

const std::vector<std::string>& DispatchNames()
{
#define UTIL_GL_NAME(position, name, type) "gl" #name,
#define UTIL_EGL_NAME(position, name, type) "egl" #name,
    static const std::vector<std::string> s_names{UTIL_GL_ENTRY_POINTS(UTIL_GL_NAME)
                                                      UTIL_EGL_ENTRY_POINTS(UTIL_EGL_NAME)};
#undef UTIL_GL_NAME
#undef UTIL_EGL_NAME
    return s_names;
}

void* ExchangeEntry(Table table, std::size_t position, void* function)
{
    return std::exchange(s_changes[table == Table::EGL ? 1 : 0].at(position), function);
}

WithheldEntry::WithheldEntry(std::string_view name)
{
    const auto find = [&](Table table, const auto& names) {
        const auto is = [name](const char* candidate) { return candidate && name == candidate; };
        const auto found = std::ranges::find_if(names, is);
        m_table = table;
        m_position = static_cast<std::size_t>(found - names.begin());
        return found != names.end();
    };
    if (!find(Table::GL, Core::GLESNames) && !find(Table::EGL, Core::EGLNames)) {
        throw std::out_of_range("no such function in the dispatch tables: " + std::string(name));
    }
    m_previous = ExchangeEntry(m_table, m_position, &s_withheld);
}

OfferedVersion::OfferedVersion(int version)
{
    s_version = version;
}

OfferedVersion::~OfferedVersion()
{
    s_version = 0;
}

CallCounter::CallCounter()
{
    s_calls = &m_count;
}

CallCounter::~CallCounter()
{
    s_calls = nullptr;
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
