#pragma once

// What a statement keeps across the instructions of a request, such as the
// contexts of OxDO: owned by the top machine of the request and shared by
// every machine that it reaches, destroyed with the top machine.
class StatementState {
  public:
    // The kinds of state, one slot each in the top machine.
    enum Slot { kDoContexts = 0, kSlots };

    StatementState() = default;
    virtual ~StatementState() = default;
    StatementState(const StatementState&) = delete;
    StatementState& operator=(const StatementState&) = delete;
};
