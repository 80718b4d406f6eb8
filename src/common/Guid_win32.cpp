#include "common/Guid.h"

#include <windows.h>

#include <objbase.h>

#include <algorithm>
#include <iterator>

namespace vdipc {

Guid CreateGuid() {
    GUID made = {};
    static_cast<void>(CoCreateGuid(&made));
    Guid guid;
    guid.data1 = made.Data1;
    guid.data2 = made.Data2;
    guid.data3 = made.Data3;
    std::copy(std::begin(made.Data4), std::end(made.Data4), std::begin(guid.data4));
    return guid;
}

}  // namespace vdipc
