#pragma once

#include "service/daemon/ConfigurationRules.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vpnd
{

// What is read from the text of one configuration file, on top of what the configuration
// held, and all that is wrong with it.
class ConfigurationReader
{
public:
    // file: as messages call it. Borrows all but the strings.
    ConfigurationReader(std::string file, const Machine& machine, const IUserNames& names,
                        Configuration& configuration);

    void read(std::string_view text);

    // As in LoadedConfiguration. Where there are some, the configuration is not to be used.
    std::vector<std::string> faults() const;

private:
    struct Fault {
        std::size_t line = 0;
        std::string text;
    };
    class Table;  // knows toml++, so that no other source has to

    std::string m_file;
    Sources m_sources;
    const IUserNames& m_names;
    Configuration& m_configuration;
    std::vector<Fault> m_faults;
};

}  // namespace vpnd
