#include "decoding/Properties.h"

#include "Samples.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <initializer_list>

namespace tavolin {

namespace {

class SampleProperties : public SampleTest
{
protected:
    [[nodiscard]] std::optional<SourceFile> open(const QString &path) const
    {
        return SourceFile::open(find(path.toStdString()));
    }
};

QString pathOf(const QJsonValue &file)
{
    return file[QStringLiteral("path")].toString();
}

bool isBelow(const QString &path, std::initializer_list<const char *> folders)
{
    return std::any_of(folders.begin(), folders.end(), [&path](const char *folder) {
        return path.startsWith(QString::fromUtf8(folder));
    });
}

TEST_F(SampleProperties, HaveTheUprightSizeOfTheManifest)
{
    int checked = 0;
    for (const QJsonValue &sample : files()) {
        const QString path = pathOf(sample);
        const QJsonValue oracle = sample[QStringLiteral("oracle")];
        const QJsonArray upright = oracle[QStringLiteral("upright")].toArray();
        if (upright.size() != 2 || !isBelow(path, {"camera/", "formats/", "orientation/"}))
            continue;
        const auto file = open(path);
        ASSERT_TRUE(file) << path.toStdString();
        const auto properties = readProperties(*file);
        ASSERT_TRUE(properties) << path.toStdString();
        const QSize expected(upright[0].toInt(), upright[1].toInt());
        // Its EXIF says what its transforms should have said; both readings are right.
        const bool isAmbiguous = path.contains(QStringLiteral("exif6_no_irot"));
        EXPECT_TRUE(properties->upright() == expected ||
                    (isAmbiguous && properties->upright() == expected.transposed()))
            << path.toStdString() << ": " << properties->upright().width() << "x"
            << properties->upright().height();
        const QJsonValue orientation = oracle[QStringLiteral("orientation")];
        if (orientation.isDouble()) {
            EXPECT_EQ(static_cast<int>(properties->orientation), orientation.toInt())
                << path.toStdString();
        }
        ++checked;
    }
    EXPECT_GT(checked, 100);
}

TEST_F(SampleProperties, AreReadQuicklyFromAnyFile)
{
    using namespace std::chrono_literals;
    for (const QJsonValue &sample : files()) {
        const QString path = pathOf(sample);
        const auto file = open(path);
        if (!file)
            continue;
        const auto start = std::chrono::steady_clock::now();
        const auto properties = readProperties(*file);
        // Far above the milliseconds it takes, for slow disks and sanitizers.
        EXPECT_LT(std::chrono::steady_clock::now() - start, 1s) << path.toStdString();
        EXPECT_TRUE(!properties || !properties->stored.isEmpty()) << path.toStdString();
    }
}

} // namespace

} // namespace tavolin
