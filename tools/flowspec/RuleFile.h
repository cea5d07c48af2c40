// tools/flowspec/RuleFile.h: the rule files of the flowspec tool.
//
// A rule file holds one flowspec rule per line:
//
//   vrf VRF FAMILY KEY ACTION...
//
//   VRF     a VRF name or a VRF id (0 to 16777214). "default" is id 0; other
//           names get the ids 1, 2, ... in the order the file first uses them
//           (Vrf::VrfIdMap). A name and a number may not denote the same VRF.
//   FAMILY  ipv4 or ipv6. A prefix of the key must be of this family.
//   KEY     the rule key in its command-line form, without blanks, as
//           FlowspecKey::copyInStrCli reads it: DEST;SOURCE;COMPONENT;...
//   ACTION  drop | permit | rate BYTES_PER_SECOND | redirect vrf VRF [copy] |
//           redirect ADDRESS [copy] | dscp 0-63 | sample | continue
//
// '#' starts a comment that runs to the end of the line; blank lines and
// comment lines are skipped. Words are separated by blanks or tabs. A rate is
// a whole number of bytes per second with an optional k, M or G (thousand,
// million, billion), at most 1000G. At least one action is required, each at
// most once, and drop, permit and rate exclude each other. The same key may
// appear only once per VRF and family.
//
// The reader never stops at a bad line: it reports it and goes on. It holds
// no state between calls and is safe on any bytes, which makes it the entry
// point of the rule-file fuzz target.
#pragma once

#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/TrafficAction.h"
#include "Flowspec/values/TrafficRedirect.h"
#include "Ipkit/IpTos.h"
#include "Vrf/VrfIdMap.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace FlowspecTool {

/// One rule as its line gives it: the key (with its VRF and family set) and
/// the action fields of a Flowspec::RuleConfig.
struct RuleLine {
   unsigned line = 0; ///< 1-based line number in the file
   Vrf::VrfIdMap::VrfId vrfId = Vrf::VrfIdMap::defaultVrfId;
   Flowspec::FlowspecKey key;
   Flowspec::ActionFieldSet actionFieldSet;
   float trafficRateLimit =
       0.0f; ///< bytes per second; set when actionFieldSet.trafficRate()
   Flowspec::TrafficAction trafficAction;
   Flowspec::TrafficRedirect trafficRedirect;
   Ipkit::IpTos
       trafficMarkingDscp; ///< the DSCP value; set when actionFieldSet.trafficMarking()
};

struct RuleFile {
   /// The rules read, in file order.
   std::vector<RuleLine> rules;
   /// One "FILE:LINE: what was wrong" per refused line, in file order.
   std::vector<std::string> errors;
   /// The name of every VRF the file names (not those it only numbers), by id.
   std::map<Vrf::VrfIdMap::VrfId, std::string> vrfNames;
};

/// Reads the rule file `text`; `fileName` is what the messages call it.
RuleFile readRuleFile(std::string_view text, std::string_view fileName);

} // namespace FlowspecTool
