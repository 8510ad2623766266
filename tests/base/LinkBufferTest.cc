#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <tuple>

#include "base/LinkBuffer.h"
#include "tests/base/BaseTestSupport.h"

namespace {

std::string contents(LinkBuffer& buffer) {
    int length;
    const char* data = buffer.data(&length);
    return std::string(data, length);
}

char* heap_copy(const std::string& text, int size) {
    char* buffer = new char[size];
    memcpy(buffer, text.data(), text.size());
    return buffer;
}

using Flat = std::tuple<std::string, int, int>;

// The flattened text up to its NUL, its length and its size.
Flat flattened(LinkBuffer& buffer) {
    int length = -1, size = -1;
    const char* data = buffer.data(&length, &size);
    return {data, length, size};
}

// A block is the bytes rounded up to its size with room to spare; two blocks
// flatten to exactly total + 1, a full one gains room for the NUL.
TEST(LinkBufferTest, SizesOfBlocksAndOfFlattenedData) {
    std::string exact(512, 'x');
    LinkBuffer buffer(512, 4096);
    buffer.cat(exact.data(), 512);  // (512 / 512 + 1) * 512
    EXPECT_EQ(flattened(buffer), Flat(exact, 512, 1024));
    LinkBuffer small(512, 4096);
    small.cat("abc", 3);
    EXPECT_EQ(small.cat(exact.data(), 512), 3);  // 509 fit, 3 into a new 4096 block
    EXPECT_EQ(flattened(small), Flat("abc" + exact, 515, 516));
    LinkBuffer full(4, 4);
    full.cat_nocopy(heap_copy("full", 4), 4, 4);
    EXPECT_EQ(flattened(full), Flat("full", 4, 5));
    LinkBuffer empty(16, 16);
    EXPECT_EQ(flattened(empty), Flat("", 0, 1));
}

TEST(LinkBufferTest, ReleaseHandsOverOneBlockWithSpare) {
    LinkBuffer buffer(8, 8);
    int length, size;
    delete[] buffer.release(&length, nullptr, 0);
    EXPECT_EQ(length, 0);
    delete[] buffer.release(&length, &size, 1);
    EXPECT_EQ(size, 1);
    buffer.cat("hello ", 6);
    buffer.cat("world", 5);
    char* text = buffer.release(&length, &size, 1);
    EXPECT_EQ(length, 11);
    EXPECT_GE(size, 12);
    text[length] = 0;
    EXPECT_STREQ(text, "hello world");
    delete[] text;
    EXPECT_EQ(buffer.length(), 0);
    buffer.cat("again", 5);
    EXPECT_EQ(contents(buffer), "again");
}

TEST(LinkBufferTest, NumbersHexAndJoinedChains) {
    LinkBuffer numbers(16, 16);
    numbers.cat(-42);
    numbers.cat(' ');
    numbers.cat(2.5);
    numbers.cat(static_cast<unsigned char>(' '));
    numbers.cat_hex(0xAF);
    numbers.cat_hex(0x05);
    numbers.prepend(7);
    numbers.prepend(0.25);
    EXPECT_EQ(contents(numbers), "0.257-42 2.5 AF05");
    LinkBuffer* tail = new LinkBuffer(4, 4);
    tail->cat("tail-part", 9);
    LinkBuffer* head = new LinkBuffer(4, 4);
    head->cat("head-", 5);
    LinkBuffer buffer(4, 4);
    buffer.cat("mid-", 4);
    buffer.cat_destroy(tail);
    buffer.prepend_destroy(head);
    LinkBuffer copy(4, 4);
    copy.cat("<", 1);
    copy.cat(&buffer);
    copy.prepend(&buffer);
    EXPECT_EQ(contents(copy), "head-mid-tail-part<head-mid-tail-part");
    EXPECT_EQ(contents(buffer), "head-mid-tail-part");
}

// Random edits against a std::string model, with every step checking the
// total and, now and then, the flattened bytes.
TEST(LinkBufferTest, RandomEditsMatchStdString) {
    std::mt19937 random(11);
    LinkBuffer buffer(16, 64);
    std::string model;
    for (int step = 0; step < 20000; step++) {
        std::string piece = RandomBytes(random, static_cast<int>(random() % 100));
        int n = static_cast<int>(piece.size());
        switch (random() % 6) {
            case 0:
                buffer.cat(piece.data(), n);
                model += piece;
                break;
            case 1:
                buffer.prepend(piece.data(), n);
                model = piece + model;
                break;
            case 2:
                buffer.cat_nocopy(heap_copy(piece, n + 3), n, n + 3);
                model += piece;
                break;
            case 3:
                buffer.prepend_nocopy(heap_copy(piece, n + 1), n, n + 1);
                model = piece + model;
                break;
            case 4: {
                LinkBuffer* other = new LinkBuffer(8, 8);
                other->cat(piece.data(), n);
                other->cat("!", 1);
                if (buffer.length() == 0) buffer.cat("?", 1), model += "?";
                if (random() % 2) {
                    buffer.cat_destroy(other);
                    model += piece + "!";
                } else {
                    buffer.prepend_destroy(other);
                    model = piece + "!" + model;
                }
                break;
            }
            case 5:
                if (model.size() > 4000) {
                    int length, size;
                    delete[] buffer.release(&length, &size, 0);
                    model.clear();
                }
                break;
        }
        ASSERT_EQ(buffer.length(), static_cast<int>(model.size()));
        if (step % 97 == 0) {
            std::string flat(model.size(), 0);
            buffer.append_to(flat.data());
            ASSERT_EQ(flat, model);
            ASSERT_EQ(contents(buffer), model);
        }
    }
}

TEST(LinkBufferTest, LongChainsAreFreedWithoutDeepRecursion) {
    LinkBuffer buffer(1, 1);
    for (int i = 0; i < 300000; i++)
        buffer.cat_nocopy(new char[1]{'x'}, 1, 1);
    EXPECT_EQ(buffer.length(), 300000);
}

}  // namespace
