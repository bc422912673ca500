#include "app/EditFixture.h"

#include "editing/CropBar.h"
#include "editing/CropOverlayView.h"
#include "pictures/Picture.h"
#include "screen/ViewerView.h"

#include <QApplication>
#include <QMainWindow>
#include <QMessageBox>

using namespace Qt::StringLiterals;

namespace tavolin::test {

namespace {

constexpr QSize PICTURE_SIZE{400, 300};

template <typename Widget>
Widget *childOf(const QWidget *parent)
{
    for (QWidget *child : parent->findChildren<QWidget *>()) {
        // What is about to be deleted is hidden already.
        if (auto *found = dynamic_cast<Widget *>(child); found && !found->isHidden())
            return found;
    }
    return nullptr;
}

QByteArray solidPng(QRgb color)
{
    QImage image(PICTURE_SIZE, QImage::Format_RGB32);
    image.fill(color);
    return pngFile(image);
}

} // namespace

EditFixture::EditFixture() : pictures(folder / "pictures")
{
    makeViewer(reader);
}

void EditFixture::writePictures()
{
    std::filesystem::create_directory(pictures);
    folder.write("pictures/0.png", pngFile(pictures::fourQuarters(PICTURE_SIZE)));
    folder.write("pictures/1.png", solidPng(0xff112233));
    folder.write("pictures/2.png", solidPng(0xff445566));
}

testing::AssertionResult EditFixture::openPictures()
{
    writePictures();
    start({"--bench", pictures});
    if (!resizeTo({800, 600}))
        return testing::AssertionFailure() << "the window does not change its size";
    return waitForFirst();
}

testing::AssertionResult EditFixture::openPicturesAsUser()
{
    writePictures();
    start({pictures});
    if (!waitFor([this] { return window->isFullScreen(); }))
        return testing::AssertionFailure() << "the window is not full screen";
    return waitForFirst();
}

testing::AssertionResult EditFixture::waitForFirst()
{
    if (!waitForShown(PICTURE_SIZE))
        return testing::AssertionFailure() << "the first picture is not shown";
    return testing::AssertionSuccess();
}

bool EditFixture::waitForShown(QSize size) const
{
    return waitFor([&] { return shownSize() == size; });
}

QSize EditFixture::shownSize() const
{
    return viewer->screen().imageLayer().contents.size();
}

CropOverlayView *EditFixture::overlay() const
{
    return childOf<CropOverlayView>(view);
}

CropBar *EditFixture::bar() const
{
    return childOf<CropBar>(view);
}

void EditFixture::setBox(const QRectF &fraction) const
{
    const QRectF image = viewer->screen().fitRect();
    overlay()->setBox({image.x() + fraction.x() * image.width(),
                       image.y() + fraction.y() * image.height(), fraction.width() * image.width(),
                       fraction.height() * image.height()});
}

bool EditFixture::crop(const QRectF &fraction)
{
    viewer->labels().showStatus({}, false);
    press(Qt::Key_X);
    if (!overlay())
        return false;
    setBox(fraction);
    press(Qt::Key_Return);
    return waitForStatus(CROPPED);
}

QMessageBox *EditFixture::question()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        auto *box = qobject_cast<QMessageBox *>(widget);
        if (box && box->isVisible())
            return box;
    }
    return nullptr;
}

} // namespace tavolin::test
