// Something the dispatcher can wait on: it hands out the runtime wait object that stands for it.
// The waitable owns that object and must outlive every registration made with it.
#pragma once

#include "framework/kiv/kivwait.h"

namespace waitable {

class IWaitable {
public:
    virtual ~IWaitable() = default;
    virtual _KivPosixWait* GetWaitObject() = 0;
};

} // namespace waitable
