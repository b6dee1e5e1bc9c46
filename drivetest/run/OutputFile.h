#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "drivetest/run/DataGuard.h"

namespace drivetest {

/// A file that the program writes for the user, or one of its standard streams. What the file held stays
/// until begin(); a file that was made goes again unless begin() was called, so that a refused run leaves
/// nothing.
class OutputFile {
public:
    OutputFile() = default;
    /// A descriptor that is open already, and stays so.
    static OutputFile borrow(int descriptor);
    /// Takes the descriptor over. `created` is the path of the file if it was made just now, else empty.
    static OutputFile adopt(int descriptor, std::string created);
    ~OutputFile();
    OutputFile(OutputFile&& other) noexcept;
    OutputFile& operator=(OutputFile&& other) noexcept;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    explicit operator bool() const { return m_descriptor >= 0; }
    [[nodiscard]] int descriptor() const { return m_descriptor; }
    /// The run goes ahead: empties the file, and keeps it. False when it cannot be emptied.
    [[nodiscard]] bool begin();
    /// Instead of begin(): keeps the first so many bytes, and writes behind them. False when that fails, or
    /// another process writes to the file.
    [[nodiscard]] bool goOnAt(std::uint64_t bytes);
    /// Blocks until all is written; false when that failed.
    [[nodiscard]] bool write(std::string_view text) const;
    /// Blocks until what was written would outlive a power cut, and the file's name with it; false when that
    /// failed. Does nothing to what is no file on a disk.
    [[nodiscard]] bool sync();

private:
    void removeCreated() const;

    int m_descriptor = -1;
    bool m_owned = false;
    std::string m_created;
    bool m_isNameDurable = false;
    bool m_isAlone = false;  ///< other processes are kept from going on with it
};

/// What outputs may be written to.
struct OutputRules {
    DataGuard holdsData;
    bool force = false;  ///< also files that hold something, which is replaced
};

/// Opens a file for `what` ("the record"); "-" is standard output. Taken are regular files that are new or
/// empty, FIFOs, terminals and /dev/null; nothing is changed yet. Waits for the reader of a FIFO until a stop
/// is requested. Without a file on failure; `error` then says why, and what to do.
OutputFile openOutput(const std::string& what, const std::string& path, const OutputRules& rules,
                      std::string& error);

/// Whether a process has begun to write to that file, as begin() tells, and has not ended.
bool isBeingWritten(const std::string& path);

/// Whether both lead to one file, by whatever names; /dev/null takes everything.
bool isSameOutput(const OutputFile& a, const OutputFile& b);

}  // namespace drivetest
