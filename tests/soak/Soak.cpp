#include "soak/Soak.h"

#include "decoding/color/Color.h"
#include "decoding/Decoding.h"
#include "e2e/MeanDifference.h"
#include "e2e/WaitUntil.h"
#include "pixels/Geometry.h"
#include "screen/QtImage.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTextStream>
#include <QUrl>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>
#include <vector>

#include <linux/input-event-codes.h>

namespace tavolin {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Role = AccessibleRole;

namespace {

/// Sanitizers slow a program down and keep what it frees.
#ifdef __SANITIZE_ADDRESS__
constexpr bool IS_SANITIZED = true;
#else
constexpr bool IS_SANITIZED = false;
#endif

/// How long what is on the screen may take to become right once nothing is done any more.
constexpr auto REST_LIMIT = IS_SANITIZED ? 120s : 20s;
/// And how long it is looked at from then on.
constexpr auto LOOK = 300ms;

/// Longer than that the main thread must not be away.
constexpr auto STALL_LIMIT = 1'000ms;

/// Memory is taken for settled after this, and must not grow by more than that from then on.
constexpr auto SETTLED = 5min;
constexpr int GROWTH_LIMIT_PERCENT = 10;
constexpr auto MEASURE_EVERY = 1min;
constexpr qint64 NO_CHANGE_KIB = 512;

/// The long side of the picture that a file should give, for comparing.
constexpr int EXPECTED_SIDE = 1000;

/// Pictures that differ less, from afar, are the same: in levels of a channel. Photographs may
/// differ by what scaling does to their details.
constexpr double SAME_PHOTOGRAPH = 12;
constexpr double SAME_PICTURE = 3;

/// More of them tell nothing new.
constexpr int MOST_FAULTS = 20;

constexpr int DISTURBED_FOLDERS = 3;
constexpr int PICTURES = 40;
constexpr int BROKEN = 10;
constexpr int COPIES = 20;
constexpr int PEACEFUL_PICTURES = 12;

const QString CROP_BAR = u"ครอป+หมุน"_s;
const QString SEARCH_FIELD = u"ค้นหาชื่อไฟล์"_s;
const QString DIALOG_BUTTON = u"เปิด"_s;
const QString QUIT_QUESTION = u"มีการแก้ไขที่ยังไม่ได้บันทึก"_s;

constexpr int CROP_KEYS[] = {KEY_LEFT, KEY_RIGHT,     KEY_UP,         KEY_DOWN, KEY_1, KEY_2,
                             KEY_3,    KEY_4,         KEY_5,          KEY_6,    KEY_F, KEY_S,
                             KEY_A,    KEY_LEFTBRACE, KEY_RIGHTBRACE, KEY_J,    KEY_H, KEY_D};

bool isHelp(const AccessibleObject &object)
{
    return object.role == Role::Label && object.name.contains(u'\t');
}

/// Whether it says that the viewer works on something.
bool isBusy(const AccessibleObject &object)
{
    return object.role == Role::Notification && object.name.startsWith(u"⏳"_s);
}

/// Files that other programs wrote, whole and broken.
std::vector<fs::path> samples()
{
    std::vector<fs::path> files;
    const char *folder = std::getenv("TAVOLIN_SAMPLES");
    if (!folder)
        return files;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && entry.path().extension() != ".json")
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// What @p image looks like from afar, without the parts that labels may cover.
QImage fromAfar(const QImage &image)
{
    const int margin = image.height() * 15 / 100;
    return image.copy(0, margin, image.width(), image.height() - 2 * margin)
        .scaled(24, 16, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

} // namespace

Soak::Soak(unsigned seed)
    : m_seed(seed), m_random(seed), m_client(m_server.displayName()), m_bus(m_server.displayName()),
      m_tool(m_bus)
{}

void Soak::fault(const QString &text)
{
    ++m_faults;
    QTextStream(stdout) << "FAULT: " << text << Qt::endl;
    const QString file = u"soak-fault-%1.png"_s.arg(m_faults);
    m_client.screen(SCREEN_RECT).save(file);
}

bool Soak::start()
{
    for (const QString &error :
         {m_server.error(), m_bus.error(), m_tool.whyUnavailable(), m_tool.error()}) {
        if (!error.isEmpty()) {
            QTextStream(stdout) << error << Qt::endl;
            return false;
        }
    }
    fillFolders();
    m_disk.emplace(fs::canonical(m_temporary.path().toStdString()));
    m_current = &m_folders.front();
    m_opened = Clock::now();
    m_viewer.emplace(QStringLiteral(TAVOLIN_VIEWER_PROGRAM),
                     QStringList{QString::fromStdString(m_current->path())}, m_server.displayName(),
                     QString(), m_bus.address(), m_disk->environment());
    if (!waitUntil([this] { return infoLine().has_value(); }, REST_LIMIT)) {
        QTextStream(stdout) << "the viewer does not start: " << m_viewer->standardError()
                            << Qt::endl;
        return false;
    }
    m_stalls.emplace(m_bus.address());
    m_killer.emplace(static_cast<pid_t>(m_viewer->processId()), m_seed);
    return true;
}

void Soak::fillFolders()
{
    const fs::path root = m_temporary.path().toStdString();
    PictureFolder &peaceful = m_folders.emplace_back(root / "peaceful", "peaceful", m_random);
    for (int i = 0; i < PEACEFUL_PICTURES; ++i)
        peaceful.addPicture();
    const std::vector<fs::path> files = samples();
    for (int number = 1; number <= DISTURBED_FOLDERS; ++number) {
        const std::string name = "folder" + std::to_string(number);
        PictureFolder &folder = m_folders.emplace_back(root / name, name, m_random);
        for (int i = 0; i < PICTURES; ++i)
            folder.addPicture();
        for (int i = 0; i < BROKEN; ++i)
            folder.addBroken();
        for (int i = 0; i < COPIES && !files.empty(); ++i)
            folder.addCopy(
                files[static_cast<std::size_t>(chance(0, static_cast<int>(files.size()) - 1))]);
    }
}

bool Soak::run(std::chrono::seconds duration)
{
    if (!start())
        return false;
    const auto begin = Clock::now();
    const auto sinceBegin = [&] {
        return std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin);
    };
    auto nextMeasure = begin;
    std::optional<qint64> settled;
    std::optional<qint64> last;
    while (sinceBegin() < duration && m_viewer->isRunning() && m_faults < MOST_FAULTS) {
        if (Clock::now() >= nextMeasure) {
            last = memoryAtRest();
            if (sinceBegin() >= SETTLED && !settled)
                settled = last;
            findFaults();
            report(sinceBegin());
            nextMeasure += MEASURE_EVERY;
        }
        for (int count = chance(5, 40); count > 0 && m_viewer->isRunning(); --count) {
            act();
            if (chance(1, 3) == 1)
                m_current->disturb();
        }
        rest();
    }
    if (m_viewer->isRunning())
        last = memoryAtRest();
    else
        fault(u"the viewer has ended"_s);
    findFaults();
    report(sinceBegin());
    judge(settled, last);
    m_stalls.reset();
    m_killer.reset();
    quit();
    QTextStream(stdout) << m_faults << " faults" << Qt::endl;
    return m_faults == 0;
}

void Soak::judge(std::optional<qint64> settled, std::optional<qint64> last)
{
    const StallWatch::Waits waits = m_stalls->waits();
    if (m_judged == 0 || waits.answers == 0)
        fault(u"nothing was judged"_s);
    if (m_killer->killed() == 0)
        fault(u"no worker was killed"_s);
    if (!IS_SANITIZED && waits.longest > STALL_LIMIT)
        fault(u"the main thread was away for %1 ms"_s.arg(waits.longest.count()));
    if (!settled || !last)
        return;
    QTextStream(stdout) << "memory when settled " << *settled << " KiB, at the end " << *last
                        << " KiB" << Qt::endl;
    if (!IS_SANITIZED && *last > *settled + *settled * GROWTH_LIMIT_PERCENT / 100)
        fault(u"memory has grown"_s);
}

void Soak::report(std::chrono::seconds since)
{
    const StallWatch::Waits waits = m_stalls->waits();
    QTextStream(stdout) << since.count() << " s: " << m_actions << " actions, " << m_rests
                        << " rests of which " << m_judged << " judged, memory "
                        << memoryKiB().value_or(0) << " KiB, " << m_killer->killed()
                        << " workers killed, " << m_hangs << " times no disk, longest wait "
                        << waits.longest.count() << " ms of " << waits.answers << ", " << m_faults
                        << " faults" << Qt::endl;
}

void Soak::act()
{
    ++m_actions;
    if (m_hangsUntil && Clock::now() > *m_hangsUntil)
        letDiskAnswer();
    switch (chance(1, 25)) {
    case 1:
        m_client.tapKey(KEY_F);
        break;
    case 2:
        m_client.tapKey(KEY_H);
        break;
    case 3:
    case 4:
        m_client.tapKey(KEY_A);
        break;
    case 5:
        reject();
        break;
    case 6:
        m_client.tapKey(KEY_S);
        break;
    case 7:
        m_client.tapKey(KEY_Z, {KEY_LEFTCTRL});
        break;
    case 8:
    case 9:
    case 10:
        look();
        break;
    case 11:
    case 12:
        search();
        break;
    case 13:
    case 14:
    case 15:
        crop();
        break;
    case 16:
        open(anyFolder());
        break;
    case 17:
        askForFolder();
        break;
    case 18:
        tryToQuit();
        break;
    case 19:
    case 20:
        turnWheel();
        break;
    case 21:
        hangDisk();
        break;
    default:
        step();
    }
}

QPoint Soak::anyPoint()
{
    return {chance(0, SCREEN_RECT.width() - 1), chance(0, SCREEN_RECT.height() - 1)};
}

void Soak::step()
{
    static constexpr int KEYS[] = {KEY_RIGHT, KEY_RIGHT, KEY_SPACE, KEY_LEFT};
    const int key = KEYS[chance(0, std::size(KEYS) - 1)];
    if (chance(1, 4) == 1) { // held
        m_client.pressKey(key);
        std::this_thread::sleep_for(std::chrono::milliseconds(chance(100, 1500)));
        m_client.releaseKey(key);
        return;
    }
    for (int count = chance(1, 12); count > 0; --count) {
        m_client.tapKey(key);
        std::this_thread::sleep_for(std::chrono::milliseconds(chance(0, 60)));
    }
}

void Soak::reject()
{
    m_client.tapKey(KEY_D);
    if (chance(1, 2) == 1)
        step();
    // What it ends, and shows, comes at a moment of its own: nobody could say what should be there.
    (void)waitUntil(
        [this] {
            return isAnyShown([](const AccessibleObject &object) {
                return object.name.startsWith(u"🗑"_s) || object.name.startsWith(u"❌"_s);
            });
        },
        2s);
}

void Soak::turnWheel()
{
    const int direction = chance(0, 1) == 0 ? WHEEL_UP : WHEEL_DOWN;
    for (int count = chance(1, 30); count > 0; --count)
        m_client.click(direction);
}

void Soak::look()
{
    m_client.moveMouse(anyPoint());
    m_client.pressButton(LEFT_BUTTON);
    for (int count = chance(0, 20); count > 0; --count) {
        m_client.moveMouse(anyPoint());
        std::this_thread::sleep_for(std::chrono::milliseconds(chance(0, 30)));
        if (chance(1, 20) == 1)
            step();
    }
    m_client.releaseButton(LEFT_BUTTON);
}

void Soak::search()
{
    m_client.tapKey(KEY_J);
    for (int count = chance(0, 4); count > 0; --count)
        m_client.tapKey(chance(KEY_1, KEY_0));
    m_client.tapKey(KEY_ENTER);
}

void Soak::crop()
{
    m_client.tapKey(chance(0, 1) == 0 ? KEY_X : KEY_T);
    if (!waitUntil([this] { return isShown(Role::ToolBar, CROP_BAR); }, 1s))
        return; // there is nothing to crop
    for (int count = chance(0, 15); count > 0; --count)
        actOnBox();
    if (chance(1, 8) == 1)
        return; // whatever comes next comes upon crop mode
    if (chance(1, 3) == 1)
        leaveModes();
    else
        m_client.tapKey(KEY_ENTER);
}

void Soak::actOnBox()
{
    switch (chance(1, 5)) {
    case 1:
        look(); // which drags the box
        break;
    case 2: {
        const auto objects = m_tool.objects();
        std::vector<AccessibleObject> buttons;
        std::copy_if(objects.begin(), objects.end(), std::back_inserter(buttons),
                     [](const AccessibleObject &object) {
                         return object.role == Role::Button || object.role == Role::CheckBox;
                     });
        if (buttons.empty())
            return;
        const auto &button =
            buttons[static_cast<std::size_t>(chance(0, static_cast<int>(buttons.size()) - 1))];
        m_client.moveMouse(button.rect.center());
        m_client.pressButton(LEFT_BUTTON);
        std::this_thread::sleep_for(std::chrono::milliseconds(chance(0, 600)));
        m_client.releaseButton(LEFT_BUTTON);
        break;
    }
    default: {
        const int key = CROP_KEYS[chance(0, std::size(CROP_KEYS) - 1)];
        m_client.pressKey(key);
        std::this_thread::sleep_for(std::chrono::milliseconds(chance(0, 400)));
        m_client.releaseKey(key);
    }
    }
}

PictureFolder &Soak::anyFolder()
{
    return m_folders[static_cast<std::size_t>(chance(1, DISTURBED_FOLDERS))];
}

void Soak::expectFolder(PictureFolder &folder)
{
    m_current->comeBack();
    m_current = &folder;
    m_opened = Clock::now();
}

void Soak::open(PictureFolder &folder)
{
    expectFolder(folder);
    const auto uri = QUrl::fromLocalFile(QString::fromStdString(folder.path()));
    if (!m_bus.open({uri.toString(QUrl::FullyEncoded)}))
        fault(u"the viewer does not take a folder"_s);
}

void Soak::askForFolder()
{
    leaveModes(); // which have other uses for the key
    m_client.tapKey(KEY_O);
    const auto isReady = [this] {
        const auto windows = m_client.windows();
        return windows.size() > 1 && windows.back().hasKeyboard &&
               isShown(Role::Button, DIALOG_BUTTON);
    };
    if (!waitUntil(isReady, REST_LIMIT)) {
        fault(u"no dialog asks for a folder"_s);
        return;
    }
    if (chance(1, 2) == 1)
        return leaveModes();
    expectFolder(anyFolder());
    m_client.type(QString::fromStdString(m_current->path()));
    m_client.tapKey(KEY_ENTER); // goes there
    m_client.tapKey(KEY_ENTER); // and opens it
    if (!waitUntil([this] { return m_client.windows().size() == 1; }, REST_LIMIT))
        fault(u"the dialog stays"_s);
}

void Soak::tryToQuit()
{
    leaveModes();
    const auto hasCropped = [this] {
        return isAnyShown(
            [](const AccessibleObject &object) { return object.name.startsWith(u"✂"_s); });
    };
    if (!waitUntil([&] { return !hasCropped(); }, 5s)) // which tells of an earlier one
        return;
    m_client.tapKey(KEY_X);
    if (!waitUntil([this] { return isShown(Role::ToolBar, CROP_BAR); }, 1s))
        return;
    m_client.tapKey(KEY_ENTER);
    if (!waitUntil(hasCropped, 5s))
        return; // without edits it would succeed
    m_client.tapKey(KEY_Q, {KEY_LEFTCTRL});
    if (!waitUntil([this] { return isShown(Role::Alert, QUIT_QUESTION); }, REST_LIMIT))
        fault(u"nobody asks about the edits"_s);
    leaveModes();
}

void Soak::hangDisk()
{
    if (m_hangsUntil)
        return;
    ++m_hangs;
    m_hangsUntil = Clock::now() + std::chrono::milliseconds(chance(100, 4000));
    m_disk->hang();
}

void Soak::letDiskAnswer()
{
    if (std::exchange(m_hangsUntil, std::nullopt))
        m_disk->release();
}

void Soak::leaveModes()
{
    letDiskAnswer(); // work under way ends then
    // Escape without a mode to leave quits, so that each mode must have ended before the next one
    // is looked for. Work under way might end one, and begin another, at any moment.
    if (!waitUntil([this] { return !isAnyShown(isBusy); }, REST_LIMIT))
        fault(u"work does not end"_s);
    const auto leave = [this](auto isOpen, int key) {
        if (!isOpen())
            return;
        m_client.tapKey(key);
        if (!waitUntil([&] { return !isOpen(); }, REST_LIMIT))
            fault(u"a mode does not end"_s);
    };
    for (auto windows = m_client.windows(); windows.size() > 1; windows = m_client.windows()) {
        m_client.giveKeyboard(windows.back()); // nobody manages the windows here
        leave([&] { return m_client.windows().size() >= windows.size(); }, KEY_ESC);
        if (m_faults > MOST_FAULTS)
            return;
    }
    leave([this] { return isShown(Role::TextField, SEARCH_FIELD); }, KEY_ESC);
    leave([this] { return isAnyShown(isHelp); }, KEY_H);
    leave([this] { return isShown(Role::ToolBar, CROP_BAR); }, KEY_ESC);
}

void Soak::rest()
{
    ++m_rests;
    letDiskAnswer();
    if (m_current->comeBack())
        open(*m_current);
    leaveModes();
    if (!m_viewer->isRunning())
        return;
    const auto isRight = [this] { return judgePicture() != Verdict::Wrong; };
    if (!waitUntil([&] { return staysTrue(isRight, LOOK); }, REST_LIMIT)) {
        const auto line = infoLine();
        fault(u"not on the screen: "_s + QString::fromStdString(line.value_or(InfoLine()).name));
    }
    m_judged += judgePicture() == Verdict::Right ? 1 : 0;
    // Without the keyboard nothing happens any more, and nothing is wrong.
    const auto helpIs = [this](bool isOpen) { return isAnyShown(isHelp) == isOpen; };
    for (const bool isOpen : {true, false}) {
        m_client.tapKey(KEY_H);
        if (!waitUntil([&] { return helpIs(isOpen); }, REST_LIMIT))
            fault(u"the keyboard is lost"_s);
    }
    QCoreApplication::sendPostedEvents(&m_tool); // or what the viewer tells piles up
}

Soak::Verdict Soak::judgePicture()
{
    const auto line = infoLine();
    if (!line)
        return Verdict::NobodyKnows; // an empty folder
    if (!m_current->hasEverHad(line->name))
        return Verdict::Wrong; // another folder
    if (!m_current->isSteady(line->name, m_opened))
        return Verdict::NobodyKnows;
    const QRect view = viewRect();
    const auto color = colorOf(line->name);
    if (color) {
        const QImage middle = m_client.screen(QRect(view.center(), QSize(1, 1)));
        if (middle.isNull() || !isNear(middle.pixel(0, 0), *color))
            return Verdict::Wrong;
    }
    const fs::path file = m_current->path() / line->name;
    if (!line->isEdited && hasExpectation(file))
        return isPictureOf(view, color ? SAME_PICTURE : SAME_PHOTOGRAPH) ? Verdict::Right
                                                                         : Verdict::Wrong;
    return color ? Verdict::Right : Verdict::NobodyKnows;
}

bool Soak::hasExpectation(const fs::path &file)
{
    if (file != m_expectedFile || m_expectedSince != m_opened) {
        m_expected = toQImage(toSrgb(loadThumbnail(file, EXPECTED_SIDE)));
        m_expectedFile = file;
        m_expectedSince = m_opened;
    }
    return !m_expected.isNull(); // of what can't be read, the picture before it stays
}

bool Soak::isPictureOf(const QRect &view, double tolerance) const
{
    const QRectF area = fitRect(QRectF(view), m_expected.size());
    const QImage shown = m_client.screen(toDevicePixels(area, 1) & view);
    // As large as that first, or what is left out of a tiny one would be another part.
    const QImage expected =
        m_expected.scaled(shown.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return meanDifference(fromAfar(shown), fromAfar(expected)) < tolerance;
}

std::optional<Soak::InfoLine> Soak::infoLine() const
{
    static const QRegularExpression pattern(
        u"^\\d+/\\d+ \\| (?<name>.+?)(?<edited>  ✏️ .*)?   \\[H=วิธีใช้\\]$"_s);
    for (const AccessibleObject &object : m_tool.objects()) {
        if (object.role != Role::Label)
            continue;
        if (const auto match = pattern.match(object.name); match.hasMatch())
            return InfoLine{match.captured(u"name"_s).toStdString(),
                            match.hasCaptured(u"edited"_s)};
    }
    return {};
}

QRect Soak::viewRect() const
{
    const auto windows = m_client.windows();
    return windows.empty() ? QRect() : windows.front().geometry & SCREEN_RECT;
}

bool Soak::isAnyShown(const std::function<bool(const AccessibleObject &)> &predicate) const
{
    const auto objects = m_tool.objects();
    return std::any_of(objects.begin(), objects.end(), predicate);
}

bool Soak::isShown(Role role, const QString &name) const
{
    return isAnyShown(
        [&](const AccessibleObject &object) { return object.role == role && object.name == name; });
}

/// Each kind of work has a worker from its first time on, unless that is killed.
void Soak::haveAllWorkersWork()
{
    m_client.moveMouse(viewRect().center());
    m_client.pressButton(LEFT_BUTTON);
    const auto looksClosely = [](const AccessibleObject &object) {
        return object.name.startsWith(u"🔍"_s);
    };
    if (!waitUntil([&] { return isAnyShown(looksClosely); }, REST_LIMIT))
        fault(u"the loupe does not open"_s);
    m_client.releaseButton(LEFT_BUTTON);
}

/// Of the viewer and its workers; what they share counts once.
std::optional<qint64> Soak::memoryKiB() const
{
    const auto viewer = static_cast<pid_t>(m_viewer->processId());
    auto sum = proportionalKiB(viewer);
    for (const Process &worker : sum ? childrenOf(viewer) : std::vector<Process>())
        *sum += proportionalKiB(worker.pid).value_or(0);
    return sum;
}

std::optional<qint64> Soak::memoryAtRest()
{
    const auto noDeaths = m_killer->spare();
    leaveModes();
    open(m_folders.front());
    if (viewRect() != SCREEN_RECT)
        m_client.tapKey(KEY_F);
    rest();
    if (viewRect() != SCREEN_RECT)
        fault(u"the window does not fill the screen"_s);
    haveAllWorkersWork();
    // Once the neighbours are there it needs no more. What it shares with others depends on them.
    auto memory = memoryKiB();
    const auto isUnchanged = [&] {
        return std::abs(memoryKiB().value_or(0) - memory.value_or(0)) <= NO_CHANGE_KIB;
    };
    for (int attempt = 0; attempt < 10 && !staysTrue(isUnchanged, 1s); ++attempt)
        memory = memoryKiB();
    open(anyFolder());
    return memory;
}

void Soak::findFaults()
{
    m_current->comeBack();
    const fs::path trash = m_viewer->dataHome() / "Trash" / "files";
    std::error_code noneYet;
    for (const fs::directory_entry &entry : fs::directory_iterator(trash, noneYet)) {
        if (m_trashedFiles.insert(entry.path()).second)
            m_trashed.insert(hashOf(contentOf(entry.path())));
    }
    for (PictureFolder &folder : m_folders) {
        // What is still being written is none of them; what stays so is.
        (void)waitUntil([&] { return !folder.hasUnfinished(); }, REST_LIMIT);
        for (const QString &text : folder.findFaults(m_trashed))
            fault(text);
    }
}

void Soak::quit()
{
    leaveModes();
    // The key is released only after the end: as long as there is an assistive tool Qt keeps each
    // key until the tool has had it, and what it keeps at the end counts as a leak.
    m_client.pressKey(KEY_ESC);
    const bool hasEnded = waitUntil([this] { return !m_viewer->isRunning(); }, REST_LIMIT);
    m_client.releaseKey(KEY_ESC);
    if (!hasEnded)
        fault(u"the viewer does not end"_s);
    else if (m_viewer->exitCode() != 0)
        fault(u"the viewer crashed"_s);
    const QByteArray errors = m_viewer->standardError();
    if (!errors.isEmpty())
        QTextStream(stdout) << "the viewer said:\n" << errors << Qt::endl;
}

} // namespace tavolin
