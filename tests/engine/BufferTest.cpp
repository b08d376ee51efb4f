#include "Buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>

namespace Kalt::Vemo::Test {
namespace {

using Core::Database::Filedb::Buffer;

TEST(BufferTest, IsEmptyAtFirst) {
    const Buffer text;
    EXPECT_EQ(text.size(), 0U);
    EXPECT_EQ(text.room(), 0U);
    EXPECT_EQ(text.view(), "");
}

TEST(BufferTest, TakesInWhatWasWrittenAfterItsEnd) {
    Buffer text("ab");
    text.reserve(6);
    const std::string_view more = "cdef";
    ASSERT_GE(text.room(), more.size());
    std::copy(more.begin(), more.end(), text.end());
    text.extend(3);
    EXPECT_EQ(text.view(), "abcde");
}

TEST(BufferTest, MoreRoomLeavesTheContentAsItIs) {
    Buffer text("some text");
    text.reserve(1000);
    EXPECT_EQ(text.view(), "some text");
    EXPECT_EQ(text.room(), 1000 - text.size());
    text.reserve(10);
    EXPECT_EQ(text.room(), 1000 - text.size());
}

TEST(BufferTest, HandsItsBytesOver) {
    Buffer text("some text");
    const char* const bytes = text.data();
    Buffer other(std::move(text));
    EXPECT_EQ(other.view(), "some text");
    EXPECT_EQ(other.data(), bytes);
    text = std::move(other);
    EXPECT_EQ(text.view(), "some text");
    text = Buffer("another");
    EXPECT_EQ(text.view(), "another");
}

TEST(BufferTest, ChangesAsAStringDoes) {
    std::mt19937 random(20261121);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        Buffer text;
        std::string expected;
        for (int step = 0; step < 50; ++step) {
            const std::string piece(random() % 40, static_cast<char>('a' + random() % 26));
            if (random() % 2 == 0) {
                text.append(piece);
                expected += piece;
            } else {
                const std::size_t position = random() % (expected.size() + 1);
                const std::size_t length = random() % (expected.size() - position + 1);
                text.replace(position, length, piece);
                expected.replace(position, length, piece);
            }
            ASSERT_EQ(text.view(), expected);
        }
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test
