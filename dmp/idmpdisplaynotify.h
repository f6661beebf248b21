// IDMPDisplayNotify: how a DMP display tells its owner that its connection is gone. The owner may
// destroy the display inside the call; the display touches nothing of itself afterwards.
#pragma once

class DMPDisplay;

class IDMPDisplayNotify {
public:
    virtual ~IDMPDisplayNotify() = default;
    virtual void OnDMPDisplayReadError(DMPDisplay* display) = 0;
};
