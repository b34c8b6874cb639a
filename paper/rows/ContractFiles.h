#pragma once

#include "foundation/support/Text.h"
#include "paper/base/Calendar.h"

#include <cstdint>
#include <string>

namespace halvane::paper {

struct Market;
struct MarketPlan;

// The contract lists that the paper platform keeps in the folder "Configs" of its module path: JSON
// with nodes within nodes, the innermost of which hold the symbols. Each list has an alias:
//   PaperStk  stocks, by exchange
//   PaperFut  futures, by what lies beneath
//   PaperOpt  options, by what lies beneath and by expiry
// A file that begins with the mark {"WrittenBy":"paper platform" was written here and is kept up to
// date. Every other file is somebody's own and stays as it is. Folders that are missing are made. A
// file that cannot be written is left out, since nobody trades by it.

// All lists of the market with the contracts that are alive on the day, as
// "Configs/ContractList_<alias>.ini" and "Configs/RepContractList_<alias>.ini". `module` ends with
// a separator, here and below.
void WriteContractLists(const Text& module, const Market& market, Day today);

// Writes the list as it was on a day (yyyymmdd) into "Configs/Recover/<alias>_<date>.ini" and gives
// the file's full path. "" for an alias that there is not, a day that is none, lies before 2000 or
// after `today`, and when there is no file afterwards.
Text RecoverContractList(const Text& module, TextView alias, std::int32_t date,
                         const MarketPlan& plan, Day today);

// One list as the files hold it, UTF-8; "" for an unknown alias.
std::string ContractListText(TextView alias, const Market& market, Day day);

} // namespace halvane::paper
