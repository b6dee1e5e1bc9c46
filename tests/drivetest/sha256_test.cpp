#include <gtest/gtest.h>

#include "drivetest/record/Sha256.h"

namespace drivetest {
namespace {

std::string digestOf(const std::string& text, std::size_t pieceBytes) {
    Sha256 digest;
    for (std::size_t at = 0; at < text.size(); at += pieceBytes)
        digest.add(std::string_view(text).substr(at, pieceBytes));
    return digest.hexDigest();
}

/// The published vectors; the lengths around a block are those where the padding needs one more.
TEST(Sha256, GivesThePublishedDigestsInPiecesOfAnySize) {
    const std::string twoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
    const struct {
        std::string text;
        const char* digest;
    } cases[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {twoBlocks, "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {std::string(55, 'a'), "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
        {std::string(64, 'a'), "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
        {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto& each : cases)
        for (const std::size_t pieceBytes : {1, 63, 64, 65, 4096})
            EXPECT_EQ(digestOf(each.text, pieceBytes), each.digest)
                << each.text.size() << " bytes in pieces of " << pieceBytes;
}

}  // namespace
}  // namespace drivetest
