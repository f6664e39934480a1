#include "panel/view/Complaint.h"

#include <cstdio>

namespace panel
{

void complain(const std::string& line) { std::fprintf(stderr, "orva-panel: %s\n", line.c_str()); }

}  // namespace panel
