// Bytes as documents print them, for whoever sends frames by hand.
#pragma once

#include <string>

namespace vdipc::tools {

/// A block is lines of hexadecimal digits, two for a byte, with single blanks between them as one likes. What stands behind
/// two blanks, and isn't such digits too, or behind a "#", is a comment. An empty line ends a block.
class HexBlocks {
public:
    /// The bytes of the block that this line ends; empty while it goes on. Raises std::invalid_argument with words for the
    /// person who typed it.
    std::string TakeLine(const std::string& line);
    /// The bytes of the block that the end of the input ends.
    std::string TakeRest();

private:
    std::string bytes_;
};

}  // namespace vdipc::tools
