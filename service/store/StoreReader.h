#pragma once

#include "service/store/Rows.h"
#include "service/store/Schema.h"

#include <cstddef>
#include <string>

namespace vpnd
{

// What the folder of a service holds, whether it runs or not: the newest rows of the history,
// as many as that. Never creates, changes or keeps a file, and never keeps the service waiting.
// Raises StoreError.
[[nodiscard]] StoreContents readStore(const std::string& folder, std::size_t historyRows);

// The same of a file. Raises DatabaseError, and StoreError for one of a newer schema.
[[nodiscard]] StoreContents readDatabase(const std::string& path, std::size_t historyRows,
                                         const SchemaSteps& steps, const std::string& vfs = {});

// Raises StoreError when that file has a newer schema; other faults are left to who opens it.
void refuseNewer(const std::string& path, const SchemaSteps& steps, const std::string& vfs);
void refuseNewer(const std::string& path, const SchemaSteps& steps, Database& database);

}  // namespace vpnd
