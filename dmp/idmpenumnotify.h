// IDMPEnumNotify: what a DMP endpoint reports to its controller, a device that appeared or went away,
// as host, share, user name and password. Implemented by the controller; calls are synchronous.
#pragma once

#include "foundation/string/zrunistring.h"

class IDMPEnumNotify {
public:
    virtual ~IDMPEnumNotify() = default;
    virtual void OnAddDevice(ZrUniString host, ZrUniString share, ZrUniString user, ZrUniString password) = 0;
    virtual void OnRemoveDevice(ZrUniString host, ZrUniString share, ZrUniString user,
                                ZrUniString password) = 0;
};
