#pragma once
// Real pictures with the facts about them, in the folder that TAVOLIN_SAMPLES names: manifest.json
// and the files that it lists.

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace tavolin {

/// Skips where there is no such folder.
class SampleTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const QByteArray folder = qgetenv("TAVOLIN_SAMPLES");
        if (folder.isEmpty())
            GTEST_SKIP() << "TAVOLIN_SAMPLES does not name a folder of sample pictures";
        m_folder = folder.toStdString();
        QFile manifest(QString::fromUtf8(folder + "/manifest.json"));
        ASSERT_TRUE(manifest.open(QIODevice::ReadOnly));
        m_files = QJsonDocument::fromJson(manifest.readAll())[QStringLiteral("files")].toArray();
        ASSERT_FALSE(m_files.isEmpty());
    }

    /// What the manifest says of each file.
    [[nodiscard]] const QJsonArray &files() const { return m_files; }

    /// Where the file is that the manifest calls @p path.
    [[nodiscard]] std::filesystem::path find(const std::string &path) const
    {
        return m_folder / path;
    }

private:
    std::filesystem::path m_folder;
    QJsonArray m_files;
};

} // namespace tavolin
