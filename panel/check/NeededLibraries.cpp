#include "panel/check/NeededLibraries.h"

#include "panel/runtime/FileBytes.h"

#include <algorithm>
#include <optional>
#include <set>

namespace panel
{

namespace
{

constexpr std::size_t kMaxLibraries = 200;

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

NeededLibraries::NeededLibraries(const ElfFile& file, const std::vector<std::string>& folders)
{
    std::set<std::string> seen;
    std::deque<std::string> wanted(file.needed.begin(), file.needed.end());
    while (!wanted.empty() && seen.size() < kMaxLibraries) {
        const std::string name = wanted.front();
        wanted.pop_front();
        if (!seen.insert(name).second) continue;
        std::optional<ElfFile> library = openLibrary(name, file, folders);
        if (!library) {
            notFound.push_back(name);
            continue;
        }
        m_opened.push_back(std::move(*library));
        const ElfFile& opened = m_opened.back();
        addMissingVersions(file, name, opened, missingVersions);
        wanted.insert(wanted.end(), opened.needed.begin(), opened.needed.end());
        for (const ElfSymbol& symbol : opened.symbols) {
            if (symbol.defined) m_names.insert(symbol.name);
        }
    }
}

}  // namespace panel
