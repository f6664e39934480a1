#pragma once

#include "panel/runtime/CommandTable.h"
#include "panel/runtime/CommandText.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/VariableStore.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace panel
{

// What people should know about a call: why it has the code that it has, and what it
// did that may not be meant.
struct Explanation {
    std::vector<std::string> causes;
    std::vector<std::string> notes;
};

// When a text is explained: before it is sent, or afterwards.
enum class Tense { kIs, kWas };

// How a command is read.
struct ReadAs {
    bool showSecrets = false;  // else what names no variable and may be a secret is masked
    Tense tense = Tense::kWas;
    std::set<std::string> changing = {};  // variables whose values are not known yet
};

// A text command as the device will read it, over the variables as they are now.
// causes are those for code 5.
Explanation readCommand(std::string_view command, const VariableStore& variables,
                        const ReadAs& readAs);

// The same with the answer: causes only where the code is not 0. read is what
// readCommand said before the command was sent.
Explanation explainCommand(std::string_view command, const CallResult& result,
                           const Explanation& read, const VariableStore& variables);

// A channel write as the device will read it: causes are those for codes 4 and 5.
Explanation readWrite(int channel, const Value& value);
Explanation explainWrite(int channel, const Value& value, const CallResult& result);

// A polling cycle: causes where the code is one of a failure.
Explanation explainCycle(const CycleResult& result);

// The causes or notes as one text.
std::string inOneLine(const std::vector<std::string>& texts);

}  // namespace panel
