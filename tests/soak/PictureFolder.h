#pragma once
// A folder of pictures in which another program is at work, and what must be true of its files
// however they are looked at. The colour of a generated picture is in its name, so that it is known
// after any crop, turn, flip or saving.

#include <QByteArray>
#include <QRgb>
#include <QStringList>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>

namespace tavolin {

using Clock = std::chrono::steady_clock;
using Random = std::mt19937;

/// Equally likely: @p first, @p last or a number between.
[[nodiscard]] int pick(Random &random, int first, int last);

/// The colour that the name of a generated picture says; empty for other names.
[[nodiscard]] std::optional<QRgb> colorOf(const std::string &name);

/// Whether @p shown can be a pixel of the picture with @p color: it has some grain, and has been
/// through lossy codecs.
[[nodiscard]] bool isNear(QRgb shown, QRgb color);

/// Made by the soak, changed by the soak and by the viewer. For one thread.
class PictureFolder
{
public:
    /// Makes the folder @p path, for files whose names begin with @p prefix.
    PictureFolder(std::filesystem::path path, std::string prefix, Random &random);

    [[nodiscard]] const std::filesystem::path &path() const { return m_path; }

    /// Adds a picture of one colour in a format by chance.
    void addPicture();

    /// Adds a file that is called a picture and is none, or not a whole one.
    void addBroken();

    /// Adds @p file under a name of ours.
    void addCopy(const std::filesystem::path &file);

    /// Does one thing by chance that another program might do meanwhile: a file appears, vanishes,
    /// changes, is cut or mended, or the folder itself is away for a while.
    void disturb();

    /// Brings the folder back. False when it was not away.
    bool comeBack();

    [[nodiscard]] bool hasEverHad(const std::string &name) const;

    /// Whether a file @p name should be there, is what it was when it was made, and has been since
    /// @p since at least.
    [[nodiscard]] bool isSteady(const std::string &name, Clock::time_point since) const;

    /// Whether the viewer has a copy or an edit here of which it has not written all.
    [[nodiscard]] bool hasUnfinished() const;
    /// Every difference between what lies in the folder and what may lie there, as lines for the
    /// reader: an original must be the file that was written last, or that file must be among the
    /// hashes @p trashed; in HL lie copies, in Edit pictures of the right colour, nowhere anything
    /// else. What has gone to the Trash is not expected here any more.
    [[nodiscard]] QStringList findFaults(const std::set<QByteArray> &trashed);

private:
    struct File
    {
        QByteArray hash;           ///< Of what lies there now; empty: no regular file does.
        std::set<QByteArray> ever; ///< The hashes of all that has lain there.
        QByteArray whole;          ///< The content that it was made with.
        Clock::time_point changed; ///< When it was written last.
        bool wasHarmed = false;    ///< Has been cut, or had other bytes, at some time.
    };

    [[nodiscard]] std::string nextName(const std::string &middle, const std::string &extension);
    [[nodiscard]] std::string anyName();
    void write(const std::string &name, const QByteArray &content);
    void replace(const std::string &name, const QByteArray &content);
    void note(File &file, const QByteArray &content);
    void makeStrange(const std::string &name);

    void findFaultsOfCopies(QStringList &faults) const;
    void findFaultsOfEdits(QStringList &faults) const;
    [[nodiscard]] std::optional<QRgb> colorOfEdit(const std::filesystem::path &saved) const;

    std::filesystem::path m_path;
    std::filesystem::path m_away; ///< Where it is while it is away.
    std::string m_prefix;
    Random &m_random;
    std::map<std::string, File> m_files;
    int m_made = 0;
};

/// The hash that PictureFolder goes by.
[[nodiscard]] QByteArray hashOf(const QByteArray &content);

/// All that @p file holds; empty when it can't be read.
[[nodiscard]] QByteArray contentOf(const std::filesystem::path &file);

} // namespace tavolin
