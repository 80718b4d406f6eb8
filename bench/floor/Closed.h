// The closed libraries as cheap as they can be, the same for every program that is measured: text is converted by the
// system, one receiver counts what is shown on its keypads, and all else does nothing.
#pragma once

#include "bench/floor/Signals.h"
#include "drivers/closed/VoteDeck.h"

namespace vdipc::bench::floor {

/// Whom the receiver reports to, and where it counts; set before anything else is called.
void UseSignals(Signals& signals);
/// The receiver of kind TQ1, the only one that is there.
zq::IVoteDeck& Receiver();
/// Null until somebody listens.
IVoteDeckEventOld* ReceiverListener();

}  // namespace vdipc::bench::floor
