// tools/flowspec/KeyParse.h: a rule key from its command-line text, with the
// parser's own reason when it refuses the text.
//
// FlowspecKey::copyInStrCli says only true or false; why it refused a text it
// reports as one level-2 trace line on the library's "Flowspec" trace handle.
// parseKeyCli turns that line into a message a user can read.
#pragma once

#include "Flowspec/values/FlowspecKey.h"

#include <string>
#include <string_view>

namespace FlowspecTool {

/// Reads `text` into `key` with FlowspecKey::copyInStrCli. On success returns
/// true and leaves `message` empty. On failure returns false and sets
/// `message` to the parser's trace line (for example "Did not find a valid
/// component label in XX:=1"); `key` then holds what the parser set before it
/// stopped and must not be used.
///
/// While it runs, the "Flowspec" handle's level 2 is on and the process's
/// trace sink is replaced; both are restored afterwards (the sink to the
/// default one, standard error). Trace lines of other handles and levels that
/// arrive meanwhile go to standard error in the default sink's form. Not for
/// use by several threads at once.
bool parseKeyCli(std::string_view text, Flowspec::FlowspecKey& key,
                 std::string& message);

/// `text` with every byte outside printable ASCII written as \xNN, so that
/// what a user typed cannot upset the terminal or the JSON it is shown in.
std::string printable(std::string_view text);

/// copyInStrCli reads each number of a component with strtol and keeps its
/// low 32 bits: "DP:=4294967377" reads as "DP:=81". This finds the first
/// number of `text`'s components that does not fit 32 bits and says so
/// ("the number 4294967377 in DP:=4294967377 does not fit 32 bits"); it
/// returns the empty string when every number fits. Numbers are read as the
/// parser reads them (decimal, 0x hexadecimal, 0 octal) after the ':' of each
/// component; the two prefixes are not looked at.
std::string oversizedNumber(std::string_view text);

} // namespace FlowspecTool
