#pragma once

#include "Util/CapturedImage.h"
#include "Util/Export.h"

#include <cstdint>
#include <string>

/// @file
/// Reads pictures of framebuffers back and hands them to a sink: the reading half of a screenshot, which
/// encodes nothing and opens no file. `GLScreenshotHandler` has an operation for each of these that writes
/// what is read; its header tells what is captured, which entry points and versions are needed, and what
/// happens to GL state.
///
/// Each returns the status of its sink, or one of its own when nothing came that far: 1 for what cannot be
/// read, 3 and 4 for thumbnails. A picture that the driver refuses to deliver although everything was there
/// for it comes as black, with a warning in the log.
namespace Util {

/// See `GLScreenshotHandler::TakeScreenshot`.
UTIL_EXPORT std::uint32_t ReadScreenshot(ImageSink& sink, const std::string& fileName,
                                         std::uint32_t bufferMask);

/// See `GLScreenshotHandler::TakeScreenshotBackBuffer`.
UTIL_EXPORT std::uint32_t ReadBackBuffer(ImageSink& sink, const std::string& fileName, std::uint32_t buffer);

/// See `GLScreenshotHandler::TakeScreenshotFBO`.
UTIL_EXPORT std::uint32_t ReadAttachment(ImageSink& sink, const std::string& fileName,
                                         std::uint32_t attachment);

/// See `GLScreenshotHandler::WriteColorBuffer`.
UTIL_EXPORT std::uint32_t ReadColorBuffer(ImageSink& sink, const std::string& fileName,
                                          std::int32_t readBuffer, std::int32_t width, std::int32_t height,
                                          std::int32_t internalFormat);

/// See `GLScreenshotHandler::WriteDepthStencilBuffer`.
UTIL_EXPORT std::uint32_t ReadDepthStencilBuffer(ImageSink& sink, const std::string& fileName,
                                                 std::int32_t width, std::int32_t height,
                                                 std::uint32_t depthSize, std::uint32_t stencilSize,
                                                 bool isStencil);

/// See `GLScreenshotHandler::TakeScreenshotThumbnail`.
UTIL_EXPORT std::uint32_t ReadThumbnail(ImageSink& sink, const std::string& fileName, std::int32_t maxWidth,
                                        std::int32_t maxHeight);

/// See `GLScreenshotHandler::TakeScreenshotThumbnailDepth`.
UTIL_EXPORT std::uint32_t ReadThumbnailDepth(ImageSink& sink, const std::string& fileName,
                                             std::int32_t maxWidth, std::int32_t maxHeight);

/// See `GLScreenshotHandler::TakeScreenshotThumbnailStencil`.
UTIL_EXPORT std::uint32_t ReadThumbnailStencil(ImageSink& sink, const std::string& fileName,
                                               std::int32_t maxWidth, std::int32_t maxHeight);

} // namespace Util
