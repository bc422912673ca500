#include "platform/DesktopHandOver.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>

namespace tavolin {
namespace {

using namespace Qt::StringLiterals;

struct UriCase
{
    std::string name;
    QString uri;
    std::optional<std::string> file;
};

void PrintTo(const UriCase &each, std::ostream *out)
{
    *out << each.name << ": " << each.uri.toStdString();
}

class LocalFile : public testing::TestWithParam<UriCase>
{};

TEST_P(LocalFile, IsWhatTheUriNames)
{
    const auto file = localFile(GetParam().uri);
    EXPECT_EQ(file ? std::optional(file->native()) : std::nullopt, GetParam().file);
}

INSTANTIATE_TEST_SUITE_P(
    Uris, LocalFile,
    testing::Values(UriCase{"Plain", u"file:///a/b.jpg"_s, "/a/b.jpg"},
                    UriCase{"Folder", u"file:///a/b/"_s, "/a/b/"},
                    UriCase{"Blank", u"file:///a%20b.jpg"_s, "/a b.jpg"},
                    UriCase{"Percent", u"file:///100%25.jpg"_s, "/100%.jpg"},
                    UriCase{"Thai", u"file:///%E0%B9%84.jpg"_s, "/ไ.jpg"},
                    UriCase{"NotUtf8", u"file:///%FF%FE.jpg"_s, "/\xff\xfe.jpg"},
                    UriCase{"ThisMachine", u"file://localhost/a.jpg"_s, "/a.jpg"},
                    UriCase{"OtherMachine", u"file://elsewhere.example/a.jpg"_s, {}},
                    UriCase{"Web", u"https://localhost/a.jpg"_s, {}},
                    UriCase{"Trash", u"trash:///a.jpg"_s, {}}, UriCase{"Path", u"/a.jpg"_s, {}},
                    UriCase{"EncodedSlash", u"file:///a%2Fb.jpg"_s, {}},
                    UriCase{"EncodedEnd", u"file:///a%00b.jpg"_s, {}}, UriCase{"Empty", u""_s, {}}),
    [](const auto &each) { return each.param.name; });

TEST(DesktopHandOver, WithoutABusNothingListens)
{
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    DesktopHandOver handOver(u"org.tavolin.Test"_s);
    EXPECT_FALSE(handOver.listen());
}

TEST(DesktopHandOver, WithoutTheAddressOfABusNothingListens)
{
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    qunsetenv("XDG_RUNTIME_DIR");
    DesktopHandOver handOver(u"org.tavolin.Test"_s);
    EXPECT_FALSE(handOver.listen());
}

} // namespace
} // namespace tavolin
