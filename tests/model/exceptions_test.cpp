#include <information_model/exceptions.h>

#include <gtest/gtest.h>

#include <string>

namespace kx::information_model {

TEST(InvalidPathException, NamesTextAndReason) {
    const InvalidPathException error("a//b", "empty segment at byte 2");
    EXPECT_STREQ(error.what(), "Invalid path \"a//b\": empty segment at byte 2");
}

TEST(InvalidPathException, ShowsReasonBehindAZeroByte) {
    const InvalidPathException error(std::string("a\0b", 3), "control character at byte 1");
    EXPECT_STREQ(error.what(), "Invalid path \"a\\x00b\": control character at byte 1");
}

TEST(PathNotFoundException, NamesThePath) {
    EXPECT_STREQ(PathNotFoundException("/boiler/x").what(), "Path not found: /boiler/x");
}

TEST(BadValueTypeException, TextIsFixed) {
    EXPECT_STREQ(BadValueTypeException().what(), "Bad value type.");
    EXPECT_STREQ(BadValueTypeException("details").what(), "Bad value type.");
}

TEST(BadValueTypeException, DetailsAreKept) {
    EXPECT_EQ(BadValueTypeException().get_details(), "");
    const BadValueTypeException original("details");
    const BadValueTypeException copy = original;
    EXPECT_EQ(copy.get_details(), "details");
}

TEST(Exceptions, AreStandardExceptionsAndCopy) {
    const PathNotFoundException original("/a");
    const PathNotFoundException copy = original;
    const std::exception& error = copy;
    EXPECT_STREQ(error.what(), "Path not found: /a");
    EXPECT_THROW(throw BadValueTypeException(), std::exception);
    EXPECT_THROW(throw InvalidPathException("", "empty path at byte 0"), std::exception);
}

}  // namespace kx::information_model
