#pragma once

#include "launcher/PictureFile.h"
#include "shared/SessionRecords.h"

#include <string>
#include <vector>

namespace Framegrab {

/// Something that happened in the session, in the order in which the program's processes did it.
struct Record
{
    RecordKind kind{};
    PictureFile file{}; ///< of a `File`; of a `FrameDone`, its picture tells the frame
    std::string text{};
    Legend integers{};              ///< what the colors of the file stand for
    std::string error{};            ///< of a `File`, as of `WrittenPicture`
    std::vector<std::string> log{}; ///< what was logged in dealing with it
};

} // namespace Framegrab
