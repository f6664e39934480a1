#include "panel/check/Processor.h"

#include <elf.h>

namespace panel
{

namespace
{

struct Target {
    const char* name;
    Processor processor;
    const char* triplet;  // names the folders of its libraries
};

constexpr Target kTargets[] = {
    {"x86-64", {EM_X86_64, true, FloatAbi::kNone}, "x86_64-linux-gnu"},
    {"armv7", {EM_ARM, false, FloatAbi::kHard}, "arm-linux-gnueabihf"},
    {"armv7-softfloat", {EM_ARM, false, FloatAbi::kSoft}, "arm-linux-gnueabi"},
    {"arm64", {EM_AARCH64, true, FloatAbi::kNone}, "aarch64-linux-gnu"},
};

std::string machineName(std::uint16_t machine)
{
    switch (machine) {
        case EM_X86_64:
            return "x86-64";
        case EM_386:
            return "x86";
        case EM_ARM:
            return "ARM";
        case EM_AARCH64:
            return "ARM64";
        case EM_RISCV:
            return "RISC-V";
        case EM_MIPS:
            return "MIPS";
        case EM_PPC:
            return "PowerPC";
        default:
            return "processor number " + std::to_string(machine);
    }
}

}  // namespace

Processor processorOf(const ElfFile& file)
{
    Processor processor{file.machine, file.is64, FloatAbi::kNone};
    if (file.machine == EM_ARM) {
        processor.floatAbi = FloatAbi::kUnknown;
        if ((file.flags & EF_ARM_ABI_FLOAT_SOFT) != 0) processor.floatAbi = FloatAbi::kSoft;
        if ((file.flags & EF_ARM_ABI_FLOAT_HARD) != 0) processor.floatAbi = FloatAbi::kHard;
    }
    return processor;
}

Processor ownProcessor()
{
#if defined(__x86_64__) && defined(__LP64__)
    return targetOf("x86-64");
#elif defined(__aarch64__)
    return targetOf("arm64");
#elif defined(__arm__) && defined(__ARM_PCS_VFP)
    return targetOf("armv7");
#elif defined(__arm__)
    return targetOf("armv7-softfloat");
#else
    return {};
#endif
}

std::vector<std::string> targetNames()
{
    std::vector<std::string> names;
    for (const Target& target : kTargets) names.emplace_back(target.name);
    return names;
}

Processor targetOf(std::string_view name)
{
    for (const Target& target : kTargets) {
        if (name == target.name) return target.processor;
    }
    throw PanelError("no target '" + std::string(name) + "'");
}

std::string describe(const Processor& processor)
{
    std::string text = machineName(processor.machine) + (processor.is64 ? ", 64 bit" : ", 32 bit");
    switch (processor.floatAbi) {
        case FloatAbi::kNone:
            break;
        case FloatAbi::kHard:
            text += ", hard float";
            break;
        case FloatAbi::kSoft:
            text += ", soft float";
            break;
        case FloatAbi::kUnknown:
            text += ", float ABI not marked";
            break;
    }
    return text;
}

std::vector<std::string> libraryFolders(const Processor& processor)
{
    std::vector<std::string> folders;
    for (const Target& target : kTargets) {
        if (!(target.processor == processor)) continue;
        const std::string triplet = target.triplet;
        folders = {"/lib/" + triplet, "/usr/lib/" + triplet, "/usr/" + triplet + "/lib"};
    }
    folders.insert(folders.end(), {"/lib", "/usr/lib", "/lib64", "/usr/lib64"});
    return folders;
}

}  // namespace panel
