#pragma once

namespace Util {

/// @return whether the host has what `GLScreenshotHandler::GetDepthStencilBuffer` needs
bool CanReadDepthStencil();

} // namespace Util
