#pragma once

namespace kvo::bootloadertms {

// Makes sure that what becomes of the program's texts never decides what becomes of the board:
// - A reader of the output that goes away no longer ends the process half-way through an upload.
//   Programs that this one starts are not affected.
// - A standard input, output or error that was closed leads to /dev/null. The serial port would
//   take its place else, and the board would get the texts.
void DetachActionFromStandardStreams();

}  // namespace kvo::bootloadertms
