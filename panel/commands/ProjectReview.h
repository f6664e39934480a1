#pragma once

#include "panel/project/ProjectFile.h"
#include "panel/view/Explain.h"

#include <string>
#include <vector>

namespace panel
{

// What is to be said about one part of a project before it runs.
struct ProjectRemark {
    std::string where;        // "FILE:LINE: key 'KEY' in TABLE", or the device
    std::string what;         // as it may be shown
    Explanation explanation;  // causes: why it would be refused
};

// Looks at the libraries, commands and writes of a project as the driver will read
// them, and loads nothing. Only where there is something to say.
std::vector<ProjectRemark> reviewProject(const Project& project, const VariableStore& variables,
                                         bool showSecrets);

// The remarks and their sum, as lines of text or one JSON object a line.
std::string remarksText(const std::vector<ProjectRemark>& remarks, bool json);

// Whether something would be refused.
bool wouldBeRefused(const std::vector<ProjectRemark>& remarks);

}  // namespace panel
