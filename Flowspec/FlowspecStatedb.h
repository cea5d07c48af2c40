// Flowspec/FlowspecStatedb.h: every public type of libFlowspecStatedbTypes.
#pragma once

#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/CounterVersion.h"
#include "Flowspec/values/FlowspecUtil.h"
#include "Flowspec/values/HwRuleProgrammingStatus.h"
#include "Flowspec/values/IntfErrorKey.h"
#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/IpVersion.h"
#include "Flowspec/values/MatchCompType.h"
#include "Flowspec/values/MatchComponent.h"
#include "Flowspec/values/NumericalRange.h"
#include "Flowspec/values/TcpBitMask.h"
#include "Flowspec/values/TrafficAction.h"
#include "Flowspec/values/TrafficRedirect.h"
#include "Flowspec/values/UnsupportedQual.h"
