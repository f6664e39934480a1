#include "panel/check/RuntimeProgram.h"

#include "panel/check/Processor.h"
#include "panel/runtime/DisplayText.h"
#include "panel/runtime/Value.h"

#include <algorithm>

namespace panel
{

namespace
{

constexpr const char* kSubject = "runtime";

// What a driver does without the function.
const char* withoutIt(std::string_view function)
{
    return function == "Orva_GetTickCount" ? "the driver takes the system's clock instead"
                                           : "a cycle that takes long does not feed the watchdog";
}

bool asksFor(const ElfFile& library, std::string_view name)
{
    return std::any_of(
        library.symbols.begin(), library.symbols.end(),
        [name](const ElfSymbol& symbol) { return !symbol.defined && symbol.name == name; });
}

}  // namespace

RuntimeProgram::RuntimeProgram(std::vector<unsigned char> bytes,
                               const std::vector<std::string>& folders)
    : m_file(std::move(bytes)), m_needed(m_file, folders)
{
}

bool RuntimeProgram::offers(std::string_view name) const
{
    return m_file.defines(name) || m_needed.define(name);
}

std::vector<Finding> RuntimeProgram::check(const ElfFile& library) const
{
    const Processor own = processorOf(m_file);
    const Processor drivers = processorOf(library);
    if (!(own == drivers)) {
        return {{Grade::kWrong, kSubject,
                 "is for " + describe(own) + ", the library for " + describe(drivers)}};
    }
    std::vector<Finding> findings;
    std::string found;
    bool asks = false;
    for (const std::string_view function : kHostFunctions) {
        if (!asksFor(library, function)) continue;
        asks = true;
        if (offers(function)) {
            found += (found.empty() ? "exports " : ", ") + std::string(function);
        } else {
            findings.push_back(missing(function));
        }
    }
    if (!asks) findings.push_back({Grade::kNote, kSubject, "the library asks it for no function"});
    if (!found.empty()) findings.push_back({Grade::kFine, kSubject, found});
    return findings;
}

Finding RuntimeProgram::missing(std::string_view function) const
{
    std::string text = "does not export " + std::string(function) + ": " + withoutIt(function);
    // How a C++ compiler writes a function that is not declared extern "C".
    const std::string mangled = "_Z" + std::to_string(function.size()) + std::string(function);
    for (const ElfSymbol& symbol : m_file.symbols) {
        if (!symbol.defined || symbol.name.compare(0, mangled.size(), mangled) != 0) continue;
        text += "; " + displayText(symbol.name) + " is not declared extern \"C\"";
        break;
    }
    return {Grade::kWarning, kSubject, text};
}

}  // namespace panel
