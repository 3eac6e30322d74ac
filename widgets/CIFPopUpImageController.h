#pragma once
// The pop-up picker of an image well: a borderless window (the bundle's
// window description "ImagePicker") with a heading, a grid of the well's
// thumbnails and a list of commands. Choosing a thumbnail gives its picture
// to the well (shown, delivered to the well's delegate, remembered as the
// recent picture, the well's activated() sent) and fades the pop-up out. The
// pop-up fades out when it stops being the active window, closes at once
// when the well's window closes, and closes on Escape. Coordinates are
// global, top-down, in points. Main thread only.
//
// The description's top widget is a cif::CIFBorderlessWindow holding a
// cif::CIFColoredView "coloredBox" with a QLabel "label_recentIcons", a
// cif::CIFImageGridView "imageGridView" and a cif::CIFMenuItemView
// "menuItemView".

#include <QLabel>
#include <QList>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QTimer>

#include "platform/host/HostImage.h"
#include "widgets/CIFBorderlessWindow.h"

class QMenu;

namespace cif {

class CIFColoredView;
class CIFImageGridView;
class CIFMenuItemView;
class CIFPopUpImageView;

class CIFPopUpImageController : public QObject {
    Q_OBJECT
public:
    // Makes a controller for picker (owned by the well), positions its window
    // from point (the well's bottom-right corner), makes it unmoveable and
    // shows it in front. nullptr, with "Failed to load ImagePicker.nib" and a
    // beep, when the description cannot be loaded.
    static CIFPopUpImageController* showWindowFromPointImagePicker(QPoint point,
                                                                   CIFPopUpImageView* picker);
    ~CIFPopUpImageController() override;

    // Places the window so its top-right corner is at point, moved right
    // to the screen's left edge or left to its right edge and up from its
    // bottom edge to stay on the available area.
    void positionFromPoint(QPoint point);
    // Lowers the window's opacity by 0.15 every 0.01 s and closes it when the
    // opacity would reach 0.
    void fadeOutAndClose();
    bool isFading() const { return m_fadeTimer.isActive(); }
    // Reloads the grid (there is no recent-picture repository to empty here).
    void clearRecentPictures();

    CIFBorderlessWindow* window() const { return m_window; }
    CIFImageGridView* imageGridView() const { return _imageGridView; }
    CIFMenuItemView* menuItemView() const { return _menuItemView; }
    CIFPopUpImageView* popupImageView() const { return _popupImageView; }
    int hoveredIndex() const { return currentHoveredIndex; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    explicit CIFPopUpImageController(CIFPopUpImageView* picker);
    bool loadWindow();
    void windowDidLoad();
    void stackSubviews();
    void chooseImageAtIndex(int index);
    void fadeStep();

    // The well owns this controller, so it outlives it.
    CIFPopUpImageView* _popupImageView = nullptr;
    QPointer<CIFBorderlessWindow> m_window;
    CIFImageGridView* _imageGridView = nullptr;
    CIFColoredView* _coloredBox = nullptr;
    CIFMenuItemView* _menuItemView = nullptr;
    QLabel* _label_recentIcons = nullptr;
    QMenu* m_menu = nullptr;
    int currentHoveredIndex = -1;
    QList<HostImage> _smallImages;
    QList<HostImage> _fullImages;
    QTimer m_fadeTimer;
};

}  // namespace cif
