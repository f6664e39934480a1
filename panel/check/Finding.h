#pragma once

#include <string>

namespace panel
{

enum class Grade {
    kFine,
    kNote,
    kWarning,  // loads, but is not as a driver should be
    kWrong,    // the runtime cannot use it
};

struct Finding {
    Grade grade = Grade::kFine;
    std::string subject;
    std::string text;
};

}  // namespace panel
