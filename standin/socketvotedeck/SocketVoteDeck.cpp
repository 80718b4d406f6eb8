#include "drivers/closed/SocketVoteDeck.h"

#include "classroom/Api.h"

ISocketVoteDeck* CreateVoteDeckObj() {
    return vdipc::classroom::MakeStation();
}
