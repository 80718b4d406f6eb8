#include "drivers/closed/VoteDeck.h"

#include "classroom/Api.h"

using vdipc::classroom::Kind;
using vdipc::classroom::MakeReceiver;

void CreateVDOTQ1(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    MakeReceiver(Kind::TQ1, deck, control);
}

void CreateVDOTQ2(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    MakeReceiver(Kind::TQ2, deck, control);
}

void CreateVDORV1(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    MakeReceiver(Kind::RV1, deck, control);
}

void CreateVDOLW(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    MakeReceiver(Kind::LW, deck, control);
}

void InstallVoteDeckLogHandler(VoteDeckLogHandler handler) {
    vdipc::classroom::InstallLogHandler(handler);
}
