// stream::IOStream pairs an input and an output stream it does not own and forwards Read and Write to
// them; stream::WaitableIOStream does the same for two waitable streams. Using a side that was never
// attached aborts ("m_pInput" / "m_pOutput"); the streams' own exceptions pass through.
#pragma once

#include "framework/stream/istream.h"

namespace stream {

class IOStream : public IIOStream {
public:
    IOStream() = default;
    IOStream(IInputStream& input, IOutputStream& output) : m_pInput(&input), m_pOutput(&output) {}

    IInputStream& Input() override;
    IOutputStream& Output() override;
    void Attach(IInputStream& input) { m_pInput = &input; }
    void Attach(IOutputStream& output) { m_pOutput = &output; }

    uint64_t Read(buffer::VarBuffer& buffer) override { return Input().Read(buffer); }
    uint64_t Write(const buffer::Buffer& buffer) override { return Output().Write(buffer); }

private:
    IInputStream* m_pInput = nullptr;
    IOutputStream* m_pOutput = nullptr;
};

class WaitableIOStream : public IOStream {
public:
    WaitableIOStream(IWaitableInputStream& input, IWaitableOutputStream& output)
        : IOStream(input, output), m_pInput(&input), m_pOutput(&output) {}

    IWaitableInputStream& WaitableInput() { return *m_pInput; }
    IWaitableOutputStream& WaitableOutput() { return *m_pOutput; }

private:
    IWaitableInputStream* m_pInput;
    IWaitableOutputStream* m_pOutput;
};

} // namespace stream
