// The captures: each reads, and hands what it reads to the handler's sink.

#include "Util/GLDepthStencil.h"
#include "Util/GLReadback.h"
#include "Util/GLScreenshotHandler.h"

#include <new>

namespace Util {

std::uint8_t* GLScreenshotHandler::WritingSink::Lend(std::size_t bytes)
{
    if (m_size < bytes) {
        ReleaseMemory();
        m_memory.reset(new (std::nothrow) std::uint8_t[bytes]);
        m_size = m_memory ? bytes : 0;
    }
    return m_memory.get();
}

void GLScreenshotHandler::WritingSink::ReleaseMemory()
{
    m_memory.reset();
    m_size = 0;
}

void GLScreenshotHandler::SetSink(ImageSink* sink)
{
    m_pSink = sink ? sink : &m_writing;
}

void GLScreenshotHandler::ReleaseMemory()
{
    m_writing.ReleaseMemory();
    ScreenshotWriter::ReleaseMemory();
}

std::uint32_t GLScreenshotHandler::TakeScreenshot(const std::string& fileName, std::uint32_t bufferMask)
{
    return ReadScreenshot(*m_pSink, fileName, bufferMask);
}

std::uint32_t GLScreenshotHandler::TakeScreenshotBackBuffer(const std::string& fileName, std::uint32_t buffer)
{
    return ReadBackBuffer(*m_pSink, fileName, buffer);
}

std::uint32_t GLScreenshotHandler::TakeScreenshotFBO(const std::string& fileName, std::uint32_t attachment)
{
    return ReadAttachment(*m_pSink, fileName, attachment);
}

std::uint32_t GLScreenshotHandler::WriteColorBuffer(const std::string& fileName, std::int32_t readBuffer,
                                                    std::int32_t width, std::int32_t height,
                                                    std::int32_t internalFormat)
{
    return ReadColorBuffer(*m_pSink, fileName, readBuffer, width, height, internalFormat);
}

std::uint32_t GLScreenshotHandler::WriteDepthStencilBuffer(const std::string& fileName, std::int32_t width,
                                                           std::int32_t height, std::uint32_t depthSize,
                                                           std::uint32_t stencilSize, bool isStencil)
{
    return ReadDepthStencilBuffer(*m_pSink, fileName, width, height, depthSize, stencilSize, isStencil);
}

std::int32_t GLScreenshotHandler::GetDepthStencilBuffer(std::uint32_t srcWidth, std::uint32_t srcHeight,
                                                        std::uint32_t dstWidth, std::uint32_t dstHeight,
                                                        std::uint8_t* pixels, std::uint32_t internalFormat,
                                                        std::uint32_t format, std::uint32_t type,
                                                        bool stencil)
{
    if (!CanReadDepthStencil()) {
        return StatusSuccess; // hosts expect it; the pixels are as they were
    }
    if (!pixels) {
        return StatusImageFull;
    }
    const auto size = [](std::uint32_t width, std::uint32_t height) {
        return Size{static_cast<GLsizei>(width), static_cast<GLsizei>(height)};
    };
    ShowDepthStencil(stencil ? Component::Stencil : Component::Depth, size(srcWidth, srcHeight),
                     size(dstWidth, dstHeight), {internalFormat, format, type}, pixels);
    return StatusSuccess;
}

std::uint32_t GLScreenshotHandler::TakeScreenshotThumbnail(const std::string& fileName, std::int32_t maxWidth,
                                                           std::int32_t maxHeight)
{
    return ReadThumbnail(*m_pSink, fileName, maxWidth, maxHeight);
}

std::uint32_t GLScreenshotHandler::TakeScreenshotThumbnailDepth(const std::string& fileName,
                                                                std::int32_t maxWidth, std::int32_t maxHeight)
{
    return ReadThumbnailDepth(*m_pSink, fileName, maxWidth, maxHeight);
}

std::uint32_t GLScreenshotHandler::TakeScreenshotThumbnailStencil(const std::string& fileName,
                                                                  std::int32_t maxWidth,
                                                                  std::int32_t maxHeight)
{
    return ReadThumbnailStencil(*m_pSink, fileName, maxWidth, maxHeight);
}

} // namespace Util
