#include "platform/DesktopHandOver.h"

#include "logic/TemporaryFolder.h"
#include "platform/Descriptor.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>

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

/// Gives the environment its variable @p name back in the end.
class KeptVariable
{
public:
    explicit KeptVariable(const char *name) : m_name(name), m_value(qgetenv(name)) {}
    ~KeptVariable()
    {
        if (m_value.isNull())
            qunsetenv(m_name);
        else
            qputenv(m_name, m_value);
    }
    KeptVariable(const KeptVariable &) = delete;
    KeptVariable &operator=(const KeptVariable &) = delete;

private:
    const char *m_name;
    QByteArray m_value;
};

class BusHandOver : public testing::Test
{
protected:
    BusHandOver()
    {
        QObject::connect(&handOver, &DesktopHandOver::opened, &handOver,
                         [this](const auto &paths) { opened.push_back(paths); });
        QObject::connect(&handOver, &DesktopHandOver::activated, &handOver,
                         [this] { ++activations; });
        QObject::connect(&handOver, &DesktopHandOver::listening, &handOver, [this](bool canHear) {
            answer = canHear;
            untilAnswer.quit();
        });
    }

    /// What listen() leads to; none where the bus has not answered after a generous time.
    std::optional<bool> waitForAnswer()
    {
        QTimer::singleShot(std::chrono::seconds(20), &untilAnswer, &QEventLoop::quit);
        if (!answer)
            untilAnswer.exec();
        return answer;
    }

    /// Hands @p uris over as the bus does.
    void open(const QStringList &uris, const QVariantMap &platformData = {})
    {
        for (QObject *child : handOver.children()) {
            if (child->inherits("QDBusAbstractAdaptor")) {
                ASSERT_TRUE(QMetaObject::invokeMethod(child, "Open", Q_ARG(QStringList, uris),
                                                      Q_ARG(QVariantMap, platformData)));
            }
        }
    }

    using Paths = std::vector<std::filesystem::path>;

    const KeptVariable busAddress{"DBUS_SESSION_BUS_ADDRESS"};
    const KeptVariable runtimeFolder{"XDG_RUNTIME_DIR"};
    const KeptVariable token{"XDG_ACTIVATION_TOKEN"};
    QEventLoop untilAnswer;
    std::optional<bool> answer;
    std::vector<Paths> opened;
    int activations = 0;
    DesktopHandOver handOver{u"org.tavolin.Test"_s};
};

TEST_F(BusHandOver, WithoutTheAddressOfABusNothingListens)
{
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    qunsetenv("XDG_RUNTIME_DIR");
    handOver.listen();
    EXPECT_EQ(waitForAnswer(), false);
}

// The one test that connects: a program does that once.
TEST_F(BusHandOver, BusThatDoesNotAnswerKeepsNobodyWaiting)
{
    const test::TemporaryFolder folder;
    const std::string file = folder / "bus";
    sockaddr_un address{AF_UNIX, {}};
    ASSERT_LT(file.size(), sizeof address.sun_path);
    file.copy(address.sun_path, file.size());
    Descriptor bus(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(bus.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(bus.get(), 1), 0);

    qputenv("DBUS_SESSION_BUS_ADDRESS", QByteArray::fromStdString("unix:path=" + file));
    handOver.listen();
    Descriptor connection(accept4(bus.get(), nullptr, nullptr, SOCK_CLOEXEC));
    ASSERT_GE(connection.get(), 0);
    QCoreApplication::processEvents();
    EXPECT_EQ(answer, std::nullopt);
    bus.close();
    connection.close();
    EXPECT_EQ(waitForAnswer(), false);
}

TEST_F(BusHandOver, FirstOfSeveralIsOpened)
{
    open({u"file:///1.jpg"_s, u"file:///2.jpg"_s});
    EXPECT_EQ(opened, std::vector<Paths>{{"/1.jpg"}});
    EXPECT_EQ(activations, 1);
}

TEST_F(BusHandOver, NothingIsOpenedWhereTheFirstIsNoLocalFile)
{
    open({u"https://example.org/1.jpg"_s, u"file:///2.jpg"_s});
    open({});
    EXPECT_EQ(opened, (std::vector<Paths>{{}, {}}));
    EXPECT_EQ(activations, 2);
}

TEST_F(BusHandOver, OfAHundredThousandTheFirstIsOpened)
{
    open(QStringList{u"file:///1.jpg"_s} + QStringList(100'000, u"file:///2.jpg"_s));
    EXPECT_EQ(opened, std::vector<Paths>{{"/1.jpg"}});
}

TEST_F(BusHandOver, ActivationTokenIsPassedOn)
{
    open({}, {{u"activation-token"_s, u"token-1"_s}});
    EXPECT_EQ(qgetenv("XDG_ACTIVATION_TOKEN"), "token-1");
}

TEST_F(BusHandOver, ActivationTokenOfMoreThanAKilobyteIsIgnored)
{
    qunsetenv("XDG_ACTIVATION_TOKEN");
    open({}, {{u"activation-token"_s, QString(1025, u'x')}});
    EXPECT_FALSE(qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));
    EXPECT_EQ(activations, 1);
}

TEST_F(BusHandOver, ActivationTokenThatIsNoTextIsIgnored)
{
    qunsetenv("XDG_ACTIVATION_TOKEN");
    open({}, {{u"activation-token"_s, QVariantList{1, 2}}});
    EXPECT_FALSE(qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));
    EXPECT_EQ(activations, 1);
}

} // namespace
} // namespace tavolin
