/// \file
/// What a page of a listing is asked for.
#pragma once

#include "vexil/BaseTypes.h"

#include <string>

namespace vexil {

/// Arguments of CS3Client::listObjectsV2().
struct CS3ListObjectsV2Query {
    String prefix = {};                  ///< only keys that begin with it; "" for all
    String delimiter = {};               ///< groups keys that contain it after the prefix; "" for no groups
    std::string startAfter = {};         ///< begin after this key, in UTF-8; "" for the first key
    std::string continuationToken = {};  ///< from the page before; "" for the first page
    int maxKeys = -1;                    ///< objects and common prefixes per page; -1: the service's default
    bool hasEncodedNames = true;         ///< false: no `encoding-type=url`, for a service that refuses it
};

/// Arguments of CS3Client::listVersions() and listUploads().
struct CS3ListingQuery {
    String prefix = {};          ///< only keys that begin with it; "" for all
    String delimiter = {};       ///< groups keys that contain it after the prefix; "" for no groups
    std::string keyMarker = {};  ///< begin after this key, in UTF-8; "" for the first key
    std::string idMarker = {};   ///< begin after this version, or upload, of that key; "" for the next key
    int maxEntries = -1;         ///< entries and common prefixes per page; -1: the service's default
};

}  // namespace vexil
