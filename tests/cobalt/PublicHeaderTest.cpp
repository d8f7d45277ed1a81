// What the public header must say about every function that it exports.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

struct Declaration {
    std::string text;
    std::vector<std::string> comment; ///< without the slashes
};

bool beginsWith(std::string const& line, std::string const& beginning)
{
    return line.compare(0, beginning.size(), beginning) == 0;
}

std::vector<Declaration> exportedDeclarations()
{
    std::ifstream header(ZELO_PUBLIC_HEADER);
    std::vector<Declaration> found;
    std::vector<std::string> comment;
    for (std::string line; std::getline(header, line);) {
        if (beginsWith(line, "///")) {
            comment.push_back(line.substr(std::min<size_t>(4, line.size())));
            continue;
        }
        if (beginsWith(line, "ZELO_EXPORT ")) {
            found.push_back({line, comment});
        }
        comment.clear();
    }
    return found;
}

/// @return true if the paragraph is there and is not empty
bool hasParagraph(Declaration const& declaration, std::string const& title)
{
    std::vector<std::string> const& lines = declaration.comment;
    for (size_t i = 0; i + 1 < lines.size(); ++i) {
        if (lines[i] == "@par " + title) {
            return !lines[i + 1].empty() && lines[i + 1][0] != '@';
        }
    }
    return false;
}

} // namespace

TEST(PublicHeader, DeclaresThirteenFunctions)
{
    EXPECT_EQ(13U, exportedDeclarations().size());
}

TEST(PublicHeader, SaysWhichThreadsMayCallAndHowLongTheyWait)
{
    for (Declaration const& declaration : exportedDeclarations()) {
        EXPECT_TRUE(hasParagraph(declaration, "Threads")) << declaration.text;
        EXPECT_TRUE(hasParagraph(declaration, "Blocking")) << declaration.text;
    }
}

TEST(PublicHeader, BeginsEveryCommentWithASentence)
{
    for (Declaration const& declaration : exportedDeclarations()) {
        ASSERT_FALSE(declaration.comment.empty()) << declaration.text;
        EXPECT_TRUE(isupper(static_cast<unsigned char>(declaration.comment[0][0]))) << declaration.text;
    }
}
