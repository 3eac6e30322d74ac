#include "widgets/CIFPopUpImageController.h"

#include <QAction>
#include <QApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QScreen>

#include "core/CIFStringsTable.h"
#include "widgets/CIFBorderlessWindow.h"
#include "widgets/CIFColoredView.h"
#include "widgets/CIFImageGridView.h"
#include "widgets/CIFMenuItemView.h"
#include "widgets/CIFPopUpImageView.h"
#include "widgets/UiResource.h"

namespace cif {

namespace {

constexpr int kMargin = 6;
constexpr int kGridWidth = 200;
constexpr double kFadeStep = 0.15;
constexpr int kFadeIntervalMs = 10;

}  // namespace

CIFPopUpImageController::CIFPopUpImageController(CIFPopUpImageView* picker)
    : QObject(picker), _popupImageView(picker) {
    m_fadeTimer.setInterval(kFadeIntervalMs);
    connect(&m_fadeTimer, &QTimer::timeout, this, &CIFPopUpImageController::fadeStep);
}

CIFPopUpImageController::~CIFPopUpImageController() {
    delete m_window.data();
}

CIFPopUpImageController* CIFPopUpImageController::showWindowFromPointImagePicker(
    QPoint point, CIFPopUpImageView* picker) {
    if (!picker) return nullptr;
    auto* controller = new CIFPopUpImageController(picker);
    if (!controller->loadWindow()) {
        delete controller;
        qWarning("Failed to load ImagePicker.nib");
        QApplication::beep();
        return nullptr;
    }
    controller->positionFromPoint(point);
    controller->m_window->setMoveable(false);
    controller->m_window->show();
    controller->m_window->raise();
    controller->m_window->activateWindow();
    // The keyboard starts in the grid: arrows choose, Tab reaches the commands.
    controller->_imageGridView->setFocus(Qt::PopupFocusReason);
    return controller;
}

bool CIFPopUpImageController::loadWindow() {
    QWidget* parentWindow = _popupImageView->window();
    QWidget* loaded = UiResource::load(QStringLiteral("ImagePicker"), parentWindow);
    auto* window = qobject_cast<CIFBorderlessWindow*>(loaded);
    if (window) {
        _coloredBox = window->findChild<CIFColoredView*>(QStringLiteral("coloredBox"));
        _imageGridView = window->findChild<CIFImageGridView*>(QStringLiteral("imageGridView"));
        _menuItemView = window->findChild<CIFMenuItemView*>(QStringLiteral("menuItemView"));
        _label_recentIcons = window->findChild<QLabel*>(QStringLiteral("label_recentIcons"));
    }
    if (!window || !_coloredBox || !_imageGridView || !_menuItemView || !_label_recentIcons) {
        delete loaded;
        return false;
    }
    m_window = window;
    // A pop-up above the well's window, without frame or task-bar entry.
    Qt::WindowFlags flags = Qt::Tool | Qt::FramelessWindowHint;
    if (parentWindow && parentWindow->windowFlags().testFlag(Qt::WindowStaysOnTopHint))
        flags |= Qt::WindowStaysOnTopHint;
    window->setWindowFlags(flags);
    window->setAttribute(Qt::WA_TranslucentBackground, false);
    window->installEventFilter(this);
    if (parentWindow) parentWindow->installEventFilter(this);
    windowDidLoad();
    return true;
}

void CIFPopUpImageController::windowDidLoad() {
    CIFPopUpImageView* well = _popupImageView;
    _coloredBox->setColor(m_window->palette().color(QPalette::Window));
    _coloredBox->setBorderColor(m_window->palette().color(QPalette::Mid));
    _label_recentIcons->setText(CIFStringsTable::localizedString(well->title()));
    well->setMaxSize(QSizeF(256, 256));
    _fullImages = well->fullImages();
    _smallImages = well->smallImages();

    CIFImageGridViewDelegate grid;
    grid.numberOfImagesInImageGridView = [this](CIFImageGridView*) {
        return int(_smallImages.size());
    };
    grid.imageGridViewImageAtIndex = [this](CIFImageGridView*, int index) {
        return _smallImages.value(index);
    };
    grid.imageGridViewSelectionDidChange = [this](const CIFNotification&) {
        chooseImageAtIndex(_imageGridView->selectedIndex());
    };
    grid.imageGridViewCursorIsHoveringImageAtIndex = [this](CIFImageGridView*, int index) {
        currentHoveredIndex = index;
    };
    _imageGridView->setDelegate(grid);
    _imageGridView->setImageSize(QSizeF(30, 30));
    _imageGridView->setHighlightsHoveredImage(true);

    m_menu = new QMenu(m_window);
    const auto add = [this](const char* title, auto slot) {
        QAction* action =
            m_menu->addAction(CIFStringsTable::localizedString(QString::fromUtf8(title)));
        connect(action, &QAction::triggered, this, slot);
        return action;
    };
    add("Choose Image\u2026", [this] {
        fadeOutAndClose();
        _popupImageView->showImagePicker();
    });
    add("Paste", [this] {
        if (_popupImageView) _popupImageView->paste();
        fadeOutAndClose();
    });
    m_menu->addSeparator();
    add("Clear Recent Pictures", [this] { clearRecentPictures(); });
    CIFMenuItemViewDelegate menuDelegate;
    menuDelegate.menuItemViewDidChangeMenu = [this](CIFMenuItemView*) { stackSubviews(); };
    _menuItemView->setDelegate(menuDelegate);
    _menuItemView->setMenu(m_menu);
    currentHoveredIndex = -1;
    stackSubviews();
}

void CIFPopUpImageController::stackSubviews() {
    if (!m_window) return;
    // From the top: heading, grid, commands; the window wraps them.
    const int labelHeight = _label_recentIcons->sizeHint().height();
    _label_recentIcons->setGeometry(kMargin, kMargin, kGridWidth - kMargin, labelHeight);
    _imageGridView->setFrame(QRect(0, kMargin + labelHeight, kGridWidth, 0));
    const int menuTop = _imageGridView->geometry().bottom() + 1 + kMargin;
    _menuItemView->setGeometry(0, menuTop, kGridWidth, 0);
    _menuItemView->sizeToFit();
    const QSize size(kGridWidth, _menuItemView->geometry().bottom() + 1 + kMargin);
    _coloredBox->setGeometry(QRect(QPoint(0, 0), size));
    m_window->setFixedSize(size);
}

void CIFPopUpImageController::positionFromPoint(QPoint point) {
    if (!m_window) return;
    const QSize frame = m_window->frameGeometry().size();
    QScreen* screen = QGuiApplication::screenAt(point);
    if (!screen) screen = m_window->screen();
    QPoint origin(point.x() - frame.width(), point.y());
    if (screen) {
        const QRect visible = screen->availableGeometry();
        if (origin.x() < visible.x())
            origin.setX(visible.x());
        else if (origin.x() + frame.width() > visible.x() + visible.width())
            origin.setX(visible.x() + visible.width() - frame.width());
        if (origin.y() + frame.height() > visible.y() + visible.height())
            origin.setY(visible.y() + visible.height() - frame.height());
    }
    m_window->move(origin);
}

void CIFPopUpImageController::chooseImageAtIndex(int index) {
    CIFPopUpImageView* well = _popupImageView;
    if (!well || index < 0 || index >= _fullImages.size()) return;
    const HostImage picture = _fullImages[index];
    well->takeImage(picture);
    well->_activeRecentPicture = picture;
    emit well->activated();
    fadeOutAndClose();
}

void CIFPopUpImageController::clearRecentPictures() {
    if (_imageGridView) _imageGridView->reloadData();
    stackSubviews();
}

void CIFPopUpImageController::fadeOutAndClose() {
    if (!m_window || m_fadeTimer.isActive()) return;
    m_fadeTimer.start();
}

void CIFPopUpImageController::fadeStep() {
    if (!m_window) {
        m_fadeTimer.stop();
        return;
    }
    const double alpha = m_window->windowOpacity() - kFadeStep;
    if (alpha <= 0) {
        m_fadeTimer.stop();
        m_window->close();
        return;
    }
    m_window->setWindowOpacity(alpha);
}

bool CIFPopUpImageController::eventFilter(QObject* watched, QEvent* event) {
    if (m_window && watched == m_window) {
        switch (event->type()) {
            case QEvent::WindowDeactivate:
                if (m_window->isVisible()) fadeOutAndClose();
                break;
            case QEvent::KeyPress:
                if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
                    m_window->performClose();
                    return true;
                }
                break;
            case QEvent::Close:
                // The controller goes with its window.
                deleteLater();
                break;
            default:
                break;
        }
    } else if (m_window && _popupImageView && watched == _popupImageView->window() &&
               (event->type() == QEvent::Close || event->type() == QEvent::Hide)) {
        m_fadeTimer.stop();
        m_window->close();
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace cif
