// The free entry points of the dispatcher: Loop runs a program's main function as the init function
// of a fresh dispatcher; Dispatch and Undispatch register and unregister with the current one and
// abort ("Dispatcher::Get()") when no dispatcher is current on this thread.
#pragma once

#include "framework/dispatch/dispatcherbase.h"

#include <functional>

namespace dispatch {

// Creates a QExecutorDispatcher, runs `main` as its init function and then dispatches until the
// wait set runs dry or Exit() is called; the dispatcher, with what is left registered, goes at the end.
void Loop(std::function<void()> main);

DispatcherBase::Entry* Dispatch(waitable::IWaitable& waitable, std::function<void()> callback,
                                KivBool oneShot = 0);
void Undispatch(waitable::IWaitable& waitable);

} // namespace dispatch
