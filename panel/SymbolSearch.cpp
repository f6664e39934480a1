#include "panel/SymbolSearch.h"

#include "panel/FileBytes.h"

#include <algorithm>
#include <deque>
#include <optional>
#include <set>
#include <unordered_set>

namespace panel
{

namespace
{

constexpr std::size_t kMaxLibraries = 200;
// The host offers these itself.
constexpr std::string_view kHostFunctions[] = {"Orva_GetTickCount", "watch_dog_report"};

std::optional<ElfFile> openLibrary(const std::string& name, const ElfFile& user,
                                   const std::vector<std::string>& folders)
{
    for (const std::string& folder : folders) {
        try {
            ElfFile candidate(readFile(folder + "/" + name));
            if (candidate.machine == user.machine && candidate.is64 == user.is64) return candidate;
        } catch (const PanelError&) {
            // Not there, or no library: the next folder may have it.
        }
    }
    return std::nullopt;
}

// The versions that the file needs of the library and that this one has not. As
// with the loader, a library without any version passes.
void addMissingVersions(const ElfFile& file, const std::string& name, const ElfFile& library,
                        std::vector<std::string>& missing)
{
    const auto& defined = library.definedVersions;
    if (defined.empty()) return;
    for (const ElfVersion& version : file.versions) {
        if (version.from != name || version.weak) continue;
        if (std::find(defined.begin(), defined.end(), version.name) != defined.end()) continue;
        missing.push_back(std::string(version.name) + " in " + name);
    }
}

}  // namespace

MissingSymbols findMissingSymbols(const ElfFile& file, const std::vector<std::string>& folders)
{
    MissingSymbols missing;
    std::deque<ElfFile> libraries;  // own the names below
    std::unordered_set<std::string_view> provided(std::begin(kHostFunctions),
                                                  std::end(kHostFunctions));
    std::set<std::string> seen;
    std::deque<std::string> wanted(file.needed.begin(), file.needed.end());
    while (!wanted.empty() && seen.size() < kMaxLibraries) {
        const std::string name = wanted.front();
        wanted.pop_front();
        if (!seen.insert(name).second) continue;
        std::optional<ElfFile> library = openLibrary(name, file, folders);
        if (!library) {
            missing.libraries.push_back(name);
            continue;
        }
        libraries.push_back(std::move(*library));
        const ElfFile& opened = libraries.back();
        addMissingVersions(file, name, opened, missing.versions);
        wanted.insert(wanted.end(), opened.needed.begin(), opened.needed.end());
        for (const ElfSymbol& symbol : opened.symbols) {
            if (symbol.defined) provided.insert(symbol.name);
        }
    }
    for (const ElfSymbol& symbol : file.symbols) {
        if (!symbol.defined && !symbol.weak && provided.count(symbol.name) == 0) {
            missing.symbols.emplace_back(symbol.name);
        }
    }
    return missing;
}

}  // namespace panel
