#pragma once

#include <filesystem>

namespace vexil::app {

struct CDestination;

/// A backup into its own folder would never end, and a restore into the backup would become a part of it.
/// \param folder  of the user's files
/// \throws CInvalidArgError if the destination is a local folder within that one, or the other way round
void checkSeparate(const CDestination& destination, const std::filesystem::path& folder);

}  // namespace vexil::app
