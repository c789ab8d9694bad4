#include "Core/KHRLayer.h"

#include "DriverTables.h"

namespace Core {

namespace {

const DriverTables& SystemDriver()
{
    static const DriverTables tables(&FindInSystemDriver);
    return tables;
}

} // namespace

void* const* KHRLayer::GLESProc()
{
    return SystemDriver().GLES();
}

void* const* KHRLayer::EGLProc()
{
    return SystemDriver().EGL();
}

} // namespace Core
