// The diagnostic line: path text, status fragments and the cutting of a line
// that does not fit the caller's buffer.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "diagnostics.h"

namespace jsoncodec {
namespace {

// A buffer larger than the size the routine is told, filled with a marker,
// so that a write past the told size shows.
struct Guarded {
    char bytes[512];
    Guarded() { std::memset(bytes, '#', sizeof bytes); }
    bool untouched_from(size_t at) const {
        for (size_t i = at; i < sizeof bytes; ++i)
            if (bytes[i] != '#') return false;
        return true;
    }
};

// <a>.b.c[3].d[] with every node linked both ways.
struct Chain {
    path_node root = root_node("a");
    path_node field{nullptr, &root, "b", PATH_FIELD};
    path_node element{nullptr, &field, "c", 3};
    path_node array{nullptr, &element, "d", PATH_ARRAY};
    Chain() {
        root.child = &field;
        field.child = &element;
        element.child = &array;
    }
};

std::string report(const char *detail, int32_t code, uint64_t errlen, path_node *path, int32_t index = 0,
                   const char *name = nullptr) {
    Guarded buf;
    EXPECT_EQ(report_error(detail, code, buf.bytes, errlen, path, index, name), code);
    EXPECT_TRUE(buf.untouched_from(errlen)) << "written past errlen " << errlen;
    return std::string(buf.bytes, strnlen(buf.bytes, errlen));
}

TEST(PathText, EveryNodeFormAndUnsignedIndex) {
    Chain c;
    char buf[64];
    EXPECT_EQ(format_path(buf, sizeof buf, &c.array, 0, nullptr), std::strlen("<a>.b.c[3].d[]"));
    EXPECT_STREQ(buf, "<a>.b.c[3].d[]");

    c.element.index = INT32_MAX;
    format_path(buf, sizeof buf, &c.array, 0, nullptr);
    EXPECT_STREQ(buf, "<a>.b.c[2147483647].d[]");
}

TEST(PathText, NamedLeafIsTheReportersNodeRenamedAndStaleDeeperNodesAreDropped) {
    Chain c;
    char buf[64];
    // A fault about property "list" of the record whose node is c.field.
    format_path(buf, sizeof buf, &c.root, 5, "list");
    EXPECT_STREQ(buf, "<a>.list[5]");
    EXPECT_EQ(c.field.child, nullptr);

    Chain d;
    // A fault about the node itself, with deeper nodes still linked from
    // calls that have returned.
    format_path(buf, sizeof buf, &d.field, 0, nullptr);
    EXPECT_STREQ(buf, "<a>.b");
}

TEST(PathText, CutToTheBufferAndTerminated) {
    Chain c;
    Guarded buf;
    // "<a>.b.c[3].d[]" cut inside the third node.
    EXPECT_EQ(format_path(buf.bytes, 8, &c.array, 0, nullptr), 8u);
    EXPECT_STREQ(buf.bytes, "<a>.b.c");
    EXPECT_TRUE(buf.untouched_from(8));

    EXPECT_EQ(format_path(buf.bytes, 0, &c.array, 0, nullptr), 0u);
    EXPECT_EQ(buf.bytes[0], '<');  // from the call before; size 0 writes nothing
}

TEST(ReportError, FragmentOfEveryCode) {
    path_node root = root_node("r");
    EXPECT_EQ(report("d", 0, 128, &root), "<r>d");
    EXPECT_EQ(report("d", 201, 128, &root), "<r>: Internal Error: Bad Arguments. d");
    EXPECT_EQ(report("d", 202, 128, &root), "<r>: JSON decode error. d");
    EXPECT_EQ(report("d", 203, 128, &root), "<r>: JSON encode error. d");
    EXPECT_EQ(report("d", 204, 128, &root), "<r>: Out of memory when trying to convert C structure to JSON. d");
    EXPECT_EQ(report("d", 210, 128, &root), "<r>: d");
    EXPECT_EQ(report("d", 7, 128, &root), "<r>: Unknown rmqc library error 7. d");
    EXPECT_EQ(report("d", -202, 128, &root), "<r>: Unknown rmqc library error -202. d");
    EXPECT_EQ(report(nullptr, 202, 128, &root), "<r>: JSON decode error. ");
}

TEST(ReportError, ShortBufferCutsDetailThenFragmentThenPath) {
    path_node root = root_node("r");  // "<r>" is 3 characters, ": JSON decode error. " 21
    EXPECT_EQ(report("abcdef", 202, 3 + 21 + 3 + 1, &root), "<r>: JSON decode error. abc");
    EXPECT_EQ(report("abcdef", 202, 3 + 21 + 1, &root), "<r>: JSON decode error. ");
    EXPECT_EQ(report("abcdef", 202, 3 + 10 + 1, &root), "<r>: JSON dec");
    EXPECT_EQ(report("abcdef", 202, 3 + 1, &root), "<r>");
    EXPECT_EQ(report("abcdef", 202, 3, &root), "<r");
    EXPECT_EQ(report("abcdef", 202, 1, &root), "");

    // An unknown code's fragment is formatted, not copied: cutting it must
    // not leave a negative room for the detail.
    EXPECT_EQ(report("tail", 7, 3 + 6 + 1, &root), "<r>: Unkn");
    EXPECT_EQ(report("tail", 7, 3 + 32 + 2 + 1, &root), "<r>: Unknown rmqc library error 7. ta");
}

TEST(ReportError, LengthZeroWritesNothing) {
    path_node root = root_node("r");
    EXPECT_EQ(report_error("d", 202, nullptr, 0, &root, 0, nullptr), 202);
    Guarded buf;
    EXPECT_EQ(report_error("d", 202, buf.bytes, 0, &root, 0, nullptr), 202);
    EXPECT_TRUE(buf.untouched_from(0));
}

TEST(BoundedFormat, ReturnsFullLengthAndAlwaysTerminates) {
    Guarded buf;
    EXPECT_EQ(bounded_format(buf.bytes, 8, "%s-%d", "hello", 42), 8);
    EXPECT_STREQ(buf.bytes, "hello-4");
    EXPECT_TRUE(buf.untouched_from(8));

    EXPECT_EQ(bounded_format(buf.bytes, 9, "%s-%d", "hello", 42), 8);
    EXPECT_STREQ(buf.bytes, "hello-42");

    Guarded untouched;
    EXPECT_EQ(bounded_format(untouched.bytes, 0, "%s", "hello"), 5);
    EXPECT_TRUE(untouched.untouched_from(0));
    EXPECT_EQ(bounded_format(nullptr, 0, "%s", "hello"), 5);
}

}  // namespace
}  // namespace jsoncodec
