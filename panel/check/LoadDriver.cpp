#include "panel/check/LoadDriver.h"

#include "panel/check/ElfFile.h"
#include "panel/runtime/FileBytes.h"

namespace panel
{

std::unique_ptr<DriverLibrary> loadDriver(const std::string& path)
{
    // The loader maps what the file's headers promise; a file that is cut short
    // would end the program when the missing bytes are touched.
    try {
        const ElfFile whole(readFile(driverFile(path)));
    } catch (const ElfError& error) {
        throw PanelError("cannot load driver '" + path + "': " + error.what());
    } catch (const PanelError& error) {
        throw PanelError(std::string("cannot load driver: ") + error.what());
    }
    return std::make_unique<DriverLibrary>(path);
}

}  // namespace panel
