// Flowspec/framework/TypeNames.h: the qualified names of the library's thirty
// types, the names its descriptors carry.
//
// They live together in the library file's read-only section ".vex.type",
// each NUL-terminated and aligned to 4 bytes, in the order below, so that a
// tool can list the types a library file defines without loading it. One
// object holds them all: its member order fixes the section order, whatever
// order a compiler would give separate variables.
#pragma once

namespace Flowspec::Internal {

#define FLOWSPEC_TYPE_NAME(member, text) alignas(4) char member[sizeof(text)];
#define FLOWSPEC_TYPE_NAMES(X)                                                              \
   X(ipVersion, "Flowspec::IpVersion")                                                      \
   X(config, "Flowspec::Config")                                                            \
   X(hwRuleProgrammingStatus, "Flowspec::HwRuleProgrammingStatus")                          \
   X(cliConfig, "Flowspec::CliConfig")                                                      \
   X(counter, "Flowspec::Counter")                                                          \
   X(matchComponent, "Flowspec::MatchComponent")                                            \
   X(ipBit, "Flowspec::IpBitMask::IpBit")                                                   \
   X(ipBitMask, "Flowspec::IpBitMask")                                                      \
   X(flowspecUtil, "Flowspec::FlowspecUtil")                                                \
   X(ruleStatus, "Flowspec::RuleStatus")                                                    \
   X(vrfRuleConfig, "Flowspec::VrfRuleConfig")                                              \
   X(ruleConfig, "Flowspec::RuleConfig")                                                    \
   X(infeasibleRule, "Flowspec::InfeasibleRule")                                            \
   X(numericalRange, "Flowspec::NumericalRange")                                            \
   X(flowspecKey, "Flowspec::FlowspecKey")                                                  \
   X(matchOpVal, "Flowspec::MatchOpVal")                                                    \
   X(unsupportedQual, "Flowspec::UnsupportedQual")                                          \
   X(afIntfColl, "Flowspec::AfIntfColl")                                                    \
   X(intfErrorKey, "Flowspec::IntfErrorKey")                                                \
   X(trafficRedirect, "Flowspec::TrafficRedirect")                                          \
   X(matchOpValResult, "Flowspec::MatchOpValResult")                                        \
   X(tcpBit, "Flowspec::TcpBitMask::TcpBit")                                                \
   X(tcpBitMask, "Flowspec::TcpBitMask")                                                    \
   X(actionFieldSet, "Flowspec::ActionFieldSet")                                            \
   X(matchOpValIndex, "Flowspec::MatchOpValIndex")                                          \
   X(trafficAction, "Flowspec::TrafficAction")                                              \
   X(vrfRuleStatus, "Flowspec::VrfRuleStatus")                                              \
   X(counterVersion, "Flowspec::CounterVersion")                                            \
   X(status, "Flowspec::Status")                                                            \
   X(matchCompType, "Flowspec::MatchCompType")

struct TypeNames {
   FLOWSPEC_TYPE_NAMES(FLOWSPEC_TYPE_NAME)
};

#undef FLOWSPEC_TYPE_NAME

/// The names, defined in the section ".vex.type".
extern TypeNames const typeNames;

} // namespace Flowspec::Internal
