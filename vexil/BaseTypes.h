/// \file
/// The names of the base library that the interfaces of this one are written in.
#pragma once

#include "zet/Base.h"
#include "zet/Buffer.h"
#include "zet/Containers.h"
#include "zet/Error.h"
#include "zet/InvalidArgError.h"
#include "zet/Path.h"
#include "zet/Pointer.h"
#include "zet/Props.h"
#include "zet/String.h"
#include "zet/Types.h"

/// Transfers over the network for backup applications: requests over libcurl, and clients of services.
namespace vexil {

using zet::CBase;
using zet::CError;
using zet::CInvalidArgError;
using zet::CProps;
using zet::CWindowsPathTraits;
using zet::ErrorKind;
using zet::IBase;
using zet::int64;
using zet::make;
using zet::P;
using zet::PC;
using zet::String;
using zet::TArray;
using zet::TBuffer;
using zet::TList;
using zet::TMap;
using zet::TPathImpl;

}  // namespace vexil
