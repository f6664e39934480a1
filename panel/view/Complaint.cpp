#include "panel/view/Complaint.h"

#include "panel/runtime/DisplayText.h"

#include <cstdio>

namespace panel
{

void complain(const std::string& line)
{
    std::fprintf(stderr, "orva-panel: %s\n", displayText(std::string_view(line)).c_str());
}

}  // namespace panel
