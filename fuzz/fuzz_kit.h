// What the fuzz targets share: a scratch directory of their own as the
// process's temporary directory, the request service put back as a fresh
// client has it before each input and cleared up after it, and a sink for
// trace and print output.
#ifndef KESTRA_FUZZ_FUZZ_KIT_H
#define KESTRA_FUZZ_FUZZ_KIT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace fuzz {

// The scratch directory, made on the first call under the system's
// temporary directory and from then on the process's TMPDIR, so that
// response files and the platform's window files stay apart from every
// other program's; it is removed when the process ends. Returns its path
// with a final '/'.
const std::string &ScratchDirectory();

// Returns a stream that discards what is written to it.
std::FILE *Sink();

// Puts the request service back as a freshly started client has it: no
// status, no session, no result set, the line mode undecided, the
// response file in the scratch directory.
void ResetService();

// Ends what an input left behind: the session's association and the files
// in the scratch directory.
void EndInput();

// Returns the input as text: up to its first NUL, at most limit characters.
std::string InputText(const uint8_t *data, size_t size, size_t limit);

} // namespace fuzz

#endif
