#include "framework/dispatch/dispatch.h"

#include "framework/dispatch/qexecutordispatcher.h"
#include "framework/kiv/kivassert.h"

#include <memory>

namespace dispatch {

namespace {
DispatcherBase& Current() {
    DispatcherBase* dispatcher = DispatcherBase::Get();
    if (!dispatcher)
        KivAssertFailed("Dispatcher::Get()", "framework/dispatch/dispatch");
    return *dispatcher;
}
} // namespace

void Loop(std::function<void()> main) {
    auto dispatcher = std::make_unique<QExecutorDispatcher>();
    dispatcher->SetInit(std::move(main));
    dispatcher->Dispatch();
}

DispatcherBase::Entry* Dispatch(waitable::IWaitable& waitable, std::function<void()> callback,
                                KivBool oneShot) {
    return Current().Add(DispatcherBase::WaitAction{waitable.GetWaitObject(), std::move(callback), oneShot});
}

void Undispatch(waitable::IWaitable& waitable) {
    Current().RemoveWaitable(waitable);
}

} // namespace dispatch
