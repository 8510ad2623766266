#pragma once

class OxinVM;

// async: runs the code that follows, up to the operand's length, as a
// background task. In the task's process the machine stops when the task
// has run; in the request it goes on behind the task's code, after a
// run-time error of tag 75 when no task could start.
void async(OxinVM* vm);
