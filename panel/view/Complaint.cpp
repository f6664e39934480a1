#include "panel/view/Complaint.h"

#include "panel/runtime/DisplayText.h"
#include "panel/view/WriteAll.h"

#include <unistd.h>

namespace panel
{

void complain(const std::string& line)
{
    // Where nobody can read it there is nobody else to tell.
    static_cast<void>(
        writeAll(STDERR_FILENO, "orva-panel: " + displayText(std::string_view(line)) + "\n"));
}

}  // namespace panel
