#include "soak/PictureFolder.h"

#include "pictures/Writing.h"

#include <QCryptographicHash>
#include <QFile>
#include <QImage>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <utility>

#include <sys/stat.h>

namespace tavolin {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

namespace {

/// Levels of a colour's channels, so far apart that no grain or codec makes one another.
constexpr int LEVEL_STEP = 51;
constexpr int LEVELS = 5; // 51 to 255: no picture is as black as the window
constexpr int TOLERANCE = LEVEL_STEP / 2;

/// How far the grain goes, and the side of a grain in pixels.
constexpr int GRAIN = 5;
constexpr int GRAIN_SIDE = 8;
constexpr int SHADE = 14;

constexpr int CODE_LENGTH = 6;

QString text(const fs::path &path)
{
    return QString::fromStdString(path.native());
}

int channel(Random &random)
{
    return LEVEL_STEP * pick(random, 1, LEVELS);
}

/// One colour with some grain, the left third a shade darker: a part of it, enlarged, is not what
/// the whole looks like.
QImage grainy(QSize size, QRgb color, Random &random)
{
    QImage small(size / GRAIN_SIDE, QImage::Format_RGB32);
    for (int y = 0; y < small.height(); ++y) {
        for (int x = 0; x < small.width(); ++x) {
            const int shade = x < small.width() / 3 ? SHADE : 0;
            const int change = pick(random, -GRAIN, GRAIN) - shade;
            const auto level = [&](int value) {
                return std::max(0, std::min(value + change, 255));
            };
            small.setPixel(x, y,
                           qRgb(level(qRed(color)), level(qGreen(color)), level(qBlue(color))));
        }
    }
    return small.scaled(size);
}

QByteArray picture(const std::string &name, QRgb color, Random &random)
{
    static constexpr QSize SIZES[] = {{600, 400},   {1200, 800},  {800, 1200}, {2400, 1600},
                                      {1600, 2400}, {3000, 2000}, {6000, 4000}};
    static constexpr int LAST_OF_ANY_FORMAT = 4; // larger ones without compression fill the disk
    const std::string extension = fs::path(name).extension();
    const int last = extension.starts_with(".jp") ? std::size(SIZES) - 1 : LAST_OF_ANY_FORMAT;
    const QSize size = SIZES[pick(random, 0, last)];
    const pictures::PictureSpec spec{.size = size, .orientation = pick(random, 1, 8)};
    return pictures::encodePicture(grainy(size, color, random), spec, extension);
}

} // namespace

int pick(Random &random, int first, int last)
{
    return std::uniform_int_distribution(first, last)(random);
}

QByteArray hashOf(const QByteArray &content)
{
    return QCryptographicHash::hash(content, QCryptographicHash::Sha256);
}

QByteArray contentOf(const fs::path &file)
{
    std::error_code ignored; // a link may lead to itself
    QFile reader(text(file));
    return fs::is_regular_file(file, ignored) && reader.open(QIODevice::ReadOnly) ? reader.readAll()
                                                                                  : QByteArray();
}

std::optional<QRgb> colorOf(const std::string &name)
{
    const auto at = name.find('#');
    if (at == std::string::npos)
        return {};
    bool isNumber = false;
    const QRgb color =
        QString::fromStdString(name.substr(at + 1, CODE_LENGTH)).toUInt(&isNumber, 16);
    return isNumber ? std::optional(color | 0xff000000) : std::nullopt;
}

bool isNear(QRgb shown, QRgb color)
{
    return std::abs(qRed(shown) - qRed(color)) < TOLERANCE &&
           std::abs(qGreen(shown) - qGreen(color)) < TOLERANCE &&
           std::abs(qBlue(shown) - qBlue(color)) < TOLERANCE;
}

PictureFolder::PictureFolder(fs::path path, std::string prefix, Random &random)
    : m_path(std::move(path)), m_away(m_path.native() + ".away"), m_prefix(std::move(prefix)),
      m_random(random)
{
    fs::create_directories(m_path);
}

std::string PictureFolder::nextName(const std::string &middle, const std::string &extension)
{
    // The number comes first, so that by name all kinds lie among each other.
    return std::to_string(pick(m_random, 1000, 9999)) + '_' + m_prefix + '_' + middle + '_' +
           std::to_string(++m_made) + extension;
}

std::string PictureFolder::anyName()
{
    return std::next(m_files.begin(), pick(m_random, 0, static_cast<int>(m_files.size()) - 1))
        ->first;
}

void PictureFolder::note(File &file, const QByteArray &content)
{
    file.hash = hashOf(content);
    file.ever.insert(file.hash);
    file.changed = Clock::now();
}

void PictureFolder::write(const std::string &name, const QByteArray &content)
{
    note(m_files[name], content);
    std::error_code ignored;
    if (!fs::is_regular_file(fs::symlink_status(m_path / name, ignored)))
        fs::remove_all(m_path / name, ignored); // a link would be written through
    QFile file(text(m_path / name));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) ||
        file.write(content) != content.size())
        qFatal("%s can't be written", qPrintable(file.fileName()));
}

void PictureFolder::replace(const std::string &name, const QByteArray &content)
{
    note(m_files[name], content);
    std::error_code ignored;
    if (fs::is_directory(fs::symlink_status(m_path / name, ignored)))
        fs::remove(m_path / name, ignored);
    const fs::path fresh = m_path.native() + ".new";
    QFile file(text(fresh));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s can't be written", qPrintable(file.fileName()));
    file.close();
    fs::rename(fresh, m_path / name);
}

void PictureFolder::addPicture()
{
    static constexpr const char *EXTENSIONS[] = {".jpg", ".jpg",  ".jpg", ".jpg", ".jpeg",
                                                 ".png", ".webp", ".tif", ".bmp"};
    const QRgb color = qRgb(channel(m_random), channel(m_random), channel(m_random));
    const std::string name = nextName('#' + QString::number(color & 0xffffff, 16).toStdString(),
                                      EXTENSIONS[pick(m_random, 0, std::size(EXTENSIONS) - 1)]);
    const QByteArray content = picture(name, color, m_random);
    m_files[name].whole = content;
    replace(name, content);
}

void PictureFolder::addBroken()
{
    static constexpr const char *EXTENSIONS[] = {".jpg",  ".png", ".webp", ".tif", ".bmp",
                                                 ".heic", ".cr2", ".dng",  ".raf"};
    const std::string name =
        nextName("broken", EXTENSIONS[pick(m_random, 0, std::size(EXTENSIONS) - 1)]);
    QByteArray content(pick(m_random, 0, 200'000), '\0');
    std::generate(content.begin(), content.end(),
                  [this] { return static_cast<char>(pick(m_random, 0, 255)); });
    m_files[name].whole = content;
    replace(name, content);
}

void PictureFolder::addCopy(const fs::path &file)
{
    const std::string name = nextName("sample", file.extension().string());
    const QByteArray content = contentOf(file);
    m_files[name].whole = content;
    replace(name, content);
}

void PictureFolder::makeStrange(const std::string &name)
{
    std::error_code ignored;
    fs::remove_all(m_path / name, ignored);
    switch (pick(m_random, 1, 4)) {
    case 1:
        fs::create_directory(m_path / name);
        break;
    case 2:
        fs::create_symlink(name, m_path / name); // leads to itself
        break;
    case 3:
        fs::create_symlink("nowhere.jpg", m_path / name);
        break;
    default:
        if (mkfifo((m_path / name).c_str(), 0600) != 0) // whoever reads it waits for ever
            qFatal("no pipe can be made");
    }
    File &file = m_files[name];
    file.hash.clear();
    file.changed = Clock::now();
}

void PictureFolder::disturb()
{
    if (fs::exists(m_away)) {
        comeBack();
        return;
    }
    const std::string name = anyName();
    File &file = m_files[name];
    std::error_code ignored;
    switch (pick(m_random, 1, 12)) {
    case 1:
    case 2:
        addPicture();
        break;
    case 3:
        addBroken();
        break;
    case 4:
        fs::remove_all(m_path / name, ignored);
        file.hash.clear();
        file.changed = Clock::now();
        break;
    case 5: { // in place, under whoever reads it
        QByteArray content = contentOf(m_path / name);
        content.truncate(content.size() * pick(m_random, 0, 99) / 100);
        file.wasHarmed = true;
        write(name, content);
        break;
    }
    case 6: {
        QByteArray content = contentOf(m_path / name);
        for (int count = pick(m_random, 1, 50); count > 0 && !content.isEmpty(); --count)
            content[pick(m_random, 0, static_cast<int>(content.size()) - 1)] =
                static_cast<char>(pick(m_random, 0, 255));
        file.wasHarmed = true;
        write(name, content);
        break;
    }
    case 7:
        if (const auto color = colorOf(name)) { // another picture of this colour
            file.whole = picture(name, *color, m_random);
            replace(name, file.whole);
        }
        break;
    case 8:
        makeStrange(name);
        break;
    case 9:
        fs::rename(m_path, m_away);
        for (auto &[unused, entry] : m_files)
            entry.changed = Clock::now();
        break;
    default:
        if (pick(m_random, 0, 1) == 0)
            write(name, file.whole);
        else
            replace(name, file.whole);
    }
}

bool PictureFolder::comeBack()
{
    if (!fs::exists(m_away))
        return false;
    // Who picked or saved meanwhile has made the folder anew: nothing but these lies in it.
    fs::remove_all(m_path / "HL");
    fs::remove_all(m_path / "Edit");
    fs::remove(m_path);
    fs::rename(m_away, m_path);
    for (auto &[unused, file] : m_files)
        file.changed = Clock::now();
    return true;
}

bool PictureFolder::hasEverHad(const std::string &name) const
{
    return m_files.contains(name);
}

bool PictureFolder::isSteady(const std::string &name, Clock::time_point since) const
{
    const auto found = m_files.find(name);
    return found != m_files.end() && found->second.changed < since &&
           found->second.hash == hashOf(found->second.whole);
}

QStringList PictureFolder::findFaults(const std::set<QByteArray> &trashed)
{
    QStringList faults;
    for (auto &[name, file] : m_files) {
        if (file.hash.isEmpty() || hashOf(contentOf(m_path / name)) == file.hash)
            continue;
        if (fs::exists(fs::symlink_status(m_path / name)))
            faults.append(u"changed: "_s + text(m_path / name));
        else if (!trashed.contains(file.hash))
            faults.append(u"lost: "_s + text(m_path / name));
        file.hash.clear();
    }
    for (const fs::directory_entry &entry : fs::directory_iterator(m_path)) {
        const std::string name = entry.path().filename();
        if (name != "HL" && name != "Edit" && !m_files.contains(name))
            faults.append(u"nobody's: "_s + text(entry.path()));
    }
    findFaultsOfCopies(faults);
    findFaultsOfEdits(faults);
    return faults;
}

bool PictureFolder::hasUnfinished() const
{
    const auto isUnfinished = [](const fs::directory_entry &entry) {
        return entry.path().filename().native().starts_with(".tavolin-");
    };
    return std::ranges::any_of(std::array{"HL", "Edit"}, [&](const char *name) {
        std::error_code none;
        return std::ranges::any_of(fs::directory_iterator(m_path / name, none), isUnfinished);
    });
}

void PictureFolder::findFaultsOfCopies(QStringList &faults) const
{
    if (!fs::exists(m_path / "HL"))
        return;
    for (const fs::directory_entry &entry : fs::directory_iterator(m_path / "HL")) {
        const auto original = m_files.find(entry.path().filename());
        if (original == m_files.end() ||
            !original->second.ever.contains(hashOf(contentOf(entry.path()))))
            faults.append(u"not a copy: "_s + text(entry.path()));
    }
}

std::optional<QRgb> PictureFolder::colorOfEdit(const fs::path &saved) const
{
    // A decoder makes something of a harmed file, and in colours of its own.
    const bool wasHarmed = std::any_of(m_files.begin(), m_files.end(), [&](const auto &entry) {
        return entry.second.wasHarmed && fs::path(entry.first).stem() == saved.stem();
    });
    return wasHarmed ? std::nullopt : colorOf(saved.filename());
}

void PictureFolder::findFaultsOfEdits(QStringList &faults) const
{
    if (!fs::exists(m_path / "Edit"))
        return;
    for (const fs::directory_entry &entry : fs::directory_iterator(m_path / "Edit")) {
        const QImage saved(text(entry.path()));
        const auto color = colorOfEdit(entry.path());
        if (saved.isNull() || (color && !isNear(saved.pixel(saved.rect().center()), *color)))
            faults.append(u"not the picture: "_s + text(entry.path()));
    }
}

} // namespace tavolin
