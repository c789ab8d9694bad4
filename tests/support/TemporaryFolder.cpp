#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace TestSupport {

TemporaryFolder::TemporaryFolder(const std::filesystem::path& parent)
{
    std::string pattern = (parent / "util-test-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    m_path = pattern;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace TestSupport
