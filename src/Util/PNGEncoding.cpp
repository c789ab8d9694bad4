#include "Util/PNGEncoding.h"

#include <atomic>

namespace Util {

namespace {

std::atomic<PNGEncoding> s_encoding{PNGSmall};

} // namespace

void SetPNGEncoding(PNGEncoding encoding)
{
    s_encoding = encoding == PNGFast ? PNGFast : PNGSmall;
}

PNGEncoding GetPNGEncoding()
{
    return s_encoding;
}

} // namespace Util
