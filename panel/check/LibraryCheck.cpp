#include "panel/check/LibraryCheck.h"

#include "panel/check/DryCycle.h"
#include "panel/check/ElfFile.h"
#include "panel/check/Processor.h"
#include "panel/check/RuntimeProgram.h"
#include "panel/runtime/DisplayText.h"
#include "panel/runtime/FileBytes.h"
#include "panel/runtime/Value.h"

#include <algorithm>
#include <map>

namespace panel
{

namespace
{

constexpr std::string_view kExports[] = {"CreateDeviceCtrl", "DestroyDeviceCtrl"};
// Names beyond these are only counted.
constexpr std::size_t kMaxNamesShown = 8;

template <class Names>
std::string joined(const Names& names, const char* separator = ", ")
{
    std::string text;
    std::size_t shown = 0;
    for (const auto& name : names) {
        if (shown == kMaxNamesShown) break;
        text += (shown++ == 0 ? "" : separator) + displayText(std::string_view(name));
    }
    if (std::size(names) > shown)
        text += " and " + std::to_string(std::size(names) - shown) + " more";
    return text;
}

Finding checkKind(const ElfFile& file)
{
    if (file.isProgram) return {Grade::kWrong, "file", "a program, not a library"};
    if (!file.sharedObject) return {Grade::kWrong, "file", "ELF file, but no shared library"};
    return {Grade::kFine, "file", "ELF shared library"};
}

Finding checkProcessor(const Processor& actual, const Processor& expected)
{
    if (actual == expected) return {Grade::kFine, "processor", describe(actual)};
    return {Grade::kWrong, "processor",
            "built for " + describe(actual) + ", not for " + describe(expected)};
}

void checkExports(const ElfFile& file, std::vector<Finding>& findings)
{
    std::vector<std::string_view> missing;
    for (const std::string_view name : kExports) {
        if (!file.defines(name)) missing.push_back(name);
    }
    std::vector<std::string_view> others;
    for (const ElfSymbol& symbol : file.symbols) {
        const bool own =
            std::find(std::begin(kExports), std::end(kExports), symbol.name) != std::end(kExports);
        if (symbol.defined && !own) others.push_back(symbol.name);
    }
    if (missing.size() == std::size(kExports) && others.empty()) {
        findings.push_back({Grade::kWrong, "exports",
                            "exports nothing; " + joined(missing, " and ") + " are missing"});
    } else if (!missing.empty()) {
        findings.push_back(
            {Grade::kWrong, "exports", "does not export " + joined(missing, " and ")});
    } else {
        findings.push_back({Grade::kFine, "exports", joined(kExports)});
    }
    if (!others.empty()) {
        findings.push_back({Grade::kWarning, "exports", "also exports " + joined(others)});
    }
}

Finding checkStringAbi(const ElfFile& file, const std::optional<StringAbi>& expected)
{
    bool usesNew = false;
    bool usesOld = false;
    for (const ElfSymbol& symbol : file.symbols) {
        if (symbol.defined) continue;
        usesNew = usesNew || symbol.name.find("__cxx11") != symbol.name.npos;
        // Members of the old std::string are mangled with the abbreviation Ss.
        usesOld = usesOld || symbol.name.compare(0, 5, "_ZNSs") == 0 ||
                  symbol.name.compare(0, 6, "_ZNKSs") == 0;
    }
    if (usesNew && usesOld) {
        return {Grade::kWarning, "string ABI", "mixed: uses the new and the old std::string"};
    }
    if (!usesNew && !usesOld) {
        return {Grade::kNote, "string ABI",
                "not visible: the C++ library is linked into it or not used for texts"};
    }
    const char* text = usesNew ? "new std::string (_GLIBCXX_USE_CXX11_ABI=1)"
                               : "old std::string (_GLIBCXX_USE_CXX11_ABI=0)";
    if (!expected) return {Grade::kNote, "string ABI", text};
    const bool fits = (*expected == StringAbi::kNew) == usesNew;
    return {fits ? Grade::kFine : Grade::kWrong, "string ABI",
            std::string(text) + (fits ? "" : ", the runtime has the other one")};
}

// The highest of the versions for each name before the last "_".
std::vector<std::string> highestVersions(const std::vector<ElfVersion>& versions)
{
    // Numbers by their value: 2.9 before 2.34.
    const auto parts = [](std::string_view text) {
        std::vector<unsigned long> numbers(1, 0);
        for (const char c : text) {
            if (c >= '0' && c <= '9') {
                numbers.back() = numbers.back() * 10 + static_cast<unsigned long>(c - '0');
            } else {
                numbers.push_back(0);
            }
        }
        return numbers;
    };
    std::map<std::string_view, std::string_view> highest;
    for (const ElfVersion& one : versions) {
        const std::string_view version = one.name;
        const std::size_t line = version.rfind('_');
        const std::string_view name = version.substr(0, line);
        const std::string_view number = line == version.npos ? "" : version.substr(line + 1);
        auto [known, added] = highest.emplace(name, number);
        if (!added && parts(known->second) < parts(number)) known->second = number;
    }
    std::vector<std::string> texts;
    for (const auto& [name, number] : highest) {
        texts.push_back(std::string(name) + (number.empty() ? "" : "_") + std::string(number));
    }
    return texts;
}

// runtime may be null: then the host is taken to offer what every runtime does.
void checkNeeded(const ElfFile& file, const std::vector<std::string>& folders,
                 const RuntimeProgram* runtime, std::vector<Finding>& findings)
{
    findings.push_back(
        {Grade::kNote, "needs", file.needed.empty() ? "no library" : joined(file.needed)});
    if (!file.versions.empty()) {
        findings.push_back({Grade::kNote, "versions", joined(highestVersions(file.versions))});
    }
    const NeededLibraries libraries(file, folders);
    const auto isHostFunction = [](std::string_view name) {
        return std::find(std::begin(kHostFunctions), std::end(kHostFunctions), name) !=
               std::end(kHostFunctions);
    };
    std::vector<std::string_view> missing;
    for (const ElfSymbol& symbol : file.symbols) {
        if (symbol.defined || symbol.weak || libraries.define(symbol.name)) continue;
        const bool offered =
            runtime != nullptr ? runtime->offers(symbol.name) : isHostFunction(symbol.name);
        if (!offered) missing.push_back(symbol.name);
    }
    if (!libraries.missingVersions.empty()) {
        findings.push_back(
            {Grade::kWrong, "versions",
             "the library found here does not define " + joined(libraries.missingVersions)});
    }
    if (!libraries.notFound.empty()) {
        findings.push_back(
            {Grade::kWarning, "needs",
             "not found here: " + joined(libraries.notFound) + "; see --library-path"});
    }
    if (missing.empty()) {
        findings.push_back({Grade::kFine, "symbols", "none is missing"});
    } else if (libraries.notFound.empty()) {
        findings.push_back({Grade::kWrong, "symbols", "undefined symbol " + joined(missing)});
    } else {
        findings.push_back({Grade::kWarning, "symbols",
                            "in none of the libraries found here: " + joined(missing)});
    }
}

void checkHardening(const ElfFile& file, std::vector<Finding>& findings)
{
    std::vector<std::string_view> lacks;
    if (!file.relro) lacks.emplace_back("no RELRO");
    if (!file.bindNow) lacks.emplace_back("no BIND_NOW");
    if (file.textRelocations) lacks.emplace_back("text relocations");
    if (file.executableStack) lacks.emplace_back("executable stack");
    if (lacks.empty()) {
        findings.push_back({Grade::kFine, "hardening",
                            "RELRO, BIND_NOW, no text relocations, no executable stack"});
    } else {
        findings.push_back({Grade::kWarning, "hardening", joined(lacks)});
    }
}

void addDryCycle(const std::string& path, std::vector<Finding>& findings)
{
    const DryCycleResult result = runDryCycle(path);
    findings.push_back({result.completed ? Grade::kFine : Grade::kWrong, "dry cycle", result.text});
    for (std::size_t begin = 0; begin < result.printed.size();) {
        const std::size_t end = std::min(result.printed.find('\n', begin), result.printed.size());
        findings.push_back({Grade::kNote, "dry cycle",
                            "the library printed: " + result.printed.substr(begin, end - begin)});
        begin = end + 1;
    }
}

}  // namespace

std::vector<Finding> checkLibrary(const std::string& path, const CheckOptions& options)
{
    std::vector<Finding> findings;
    std::optional<ElfFile> file;
    std::vector<unsigned char> bytes = readFile(path);
    try {
        file.emplace(std::move(bytes));
    } catch (const ElfError& error) {
        return {{Grade::kWrong, "file", error.what()}};
    }
    findings.push_back(checkKind(*file));
    const Processor processor = processorOf(*file);
    const Processor expected = options.target.empty() ? ownProcessor() : targetOf(options.target);
    findings.push_back(checkProcessor(processor, expected));
    checkExports(*file, findings);
    findings.push_back(checkStringAbi(*file, options.stringAbi));
    std::vector<std::string> folders = options.folders;
    const std::vector<std::string> usual = libraryFolders(processor);
    folders.insert(folders.end(), usual.begin(), usual.end());
    std::optional<RuntimeProgram> runtime;
    if (!options.runtime.empty()) {
        std::vector<unsigned char> program = readFile(options.runtime);
        try {
            runtime.emplace(std::move(program), folders);
            const std::vector<Finding> fit = runtime->check(*file);
            findings.insert(findings.end(), fit.begin(), fit.end());
        } catch (const ElfError& error) {
            findings.push_back({Grade::kWrong, "runtime", error.what()});
        }
    }
    checkNeeded(*file, folders, runtime ? &*runtime : nullptr, findings);
    checkHardening(*file, findings);

    const bool lacksExports = std::any_of(findings.begin(), findings.end(), [](const Finding& one) {
        return one.grade == Grade::kWrong && one.subject == "exports";
    });
    if (!options.dryCycle) {
        findings.push_back({Grade::kNote, "dry cycle", "not asked for"});
    } else if (!(processor == ownProcessor())) {
        findings.push_back(
            {Grade::kNote, "dry cycle", "not possible: another processor than this PC's"});
    } else if (file->isProgram) {
        findings.push_back({Grade::kNote, "dry cycle", "not possible with a program"});
    } else if (lacksExports) {
        findings.push_back({Grade::kNote, "dry cycle", "not possible without the exports"});
    } else {
        addDryCycle(path, findings);
    }
    return findings;
}

}  // namespace panel
