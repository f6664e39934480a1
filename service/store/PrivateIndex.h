#pragma once

namespace vpnd
{

// The name of a file layer of SQLite that is the system's, but for the index of the log: that
// one is in this program's memory alone. For reading a file and its log that nobody else uses,
// where no index can or may be made beside them.
[[nodiscard]] const char* privateIndexLayer();

}  // namespace vpnd
