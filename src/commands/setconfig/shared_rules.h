// Words and checks that several setConfiguration sections share, written once.
#pragma once

#include "commands/setconfig/value_rules.h"
#include "common/headend_codes.h"

namespace dorel_remote_control {

// The 16-bit identifiers of DVB (ONID, TSID, SID, LCN): 1 to 65535.
constexpr int32_t kMinDvbId = 1;
constexpr int32_t kMaxDvbId = 65535;

// The record ids of the headend's tables: a whole number of at least 1.
constexpr int32_t kMaxRowId = 2147483647;

}  // namespace dorel_remote_control
