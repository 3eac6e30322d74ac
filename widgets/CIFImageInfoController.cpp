#include "widgets/CIFImageInfoController.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QIntValidator>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <cmath>

#include "widgets/UiResource.h"

namespace cif {

namespace {

// A field's integer value the way the platform's text fields read one:
// leading blanks, an optional sign and the digits that follow; 0 otherwise.
int intValue(const QLineEdit* field) {
    const QString text = field->text().trimmed();
    qsizetype end = 0;
    if (end < text.size() && (text[end] == u'-' || text[end] == u'+')) ++end;
    while (end < text.size() && text[end].isDigit() && end < 10)
        ++end;
    bool ok = false;
    const int value = text.left(end).toInt(&ok);
    return ok ? value : 0;
}

void setIntValue(QLineEdit* field, double value) {
    field->setText(QString::number(qint64(std::trunc(std::isfinite(value) ? value : 0))));
}

int tagOf(const QObject* sender) {
    return sender ? sender->property("tag").toInt() : 0;
}

}  // namespace

CIFImageInfoController* CIFImageInfoController::sharedImageInfoTool() {
    static QPointer<CIFImageInfoController> shared;
    if (!shared) shared = new CIFImageInfoController(qApp);
    return shared;
}

CIFImageInfoController::CIFImageInfoController(QObject* parent)
    : QObject(parent), m_frameAutosaveName(QStringLiteral("ImageEditor")) {
    _dImageSizeRate = 1.0;
    _currUnitsPopUpIndex = 0;
}

CIFImageInfoController::~CIFImageInfoController() {
    delete m_window.data();
}

int CIFImageInfoController::changeSizeConstrainProportionsMakeThumbnailDisableFitToSize(
    QSizeF size, bool constrain, bool makeThumbnail, bool disableFitToSize) {
    if (!openWithSize(size, constrain, makeThumbnail, disableFitToSize, false, nullptr)) return 0;
    const QPointer<QDialog> dialog = m_window;
    const int code = dialog->exec();
    return code == 1 ? 1 : 0;
}

bool CIFImageInfoController::
    sheetChangeSizeConstrainProportionsMakeThumbnailDisableFitToSizeModalDelegateDidEndSelector(
        QSizeF size, bool constrain, bool makeThumbnail, bool disableFitToSize,
        QWidget* modalDelegate, DidEndHandler didEnd) {
    QWidget* host = modalDelegate ? modalDelegate->window() : nullptr;
    if (!openWithSize(size, constrain, makeThumbnail, disableFitToSize, true, host)) return false;
    m_didEnd = std::move(didEnd);
    connect(m_window, &QDialog::finished, this, [this](int code) {
        // Ends once: the handler is taken before it runs.
        DidEndHandler handler = std::move(m_didEnd);
        m_didEnd = nullptr;
        if (handler) handler(code == 1 ? 1 : 0);
    });
    m_window->open();
    return true;
}

bool CIFImageInfoController::openWithSize(QSizeF size, bool constrain, bool makeThumbnail,
                                          bool disableFitToSize, bool sheet, QWidget* sheetParent) {
    // 1. A fresh window from the description, owned by this controller (or,
    // as a sheet, by the window it sits on).
    QWidget* loaded = UiResource::load(QStringLiteral("ImageInfoTool"), sheetParent);
    auto* dialog = qobject_cast<QDialog*>(loaded);
    const auto find = [dialog](auto* type, const char* name) {
        using T = std::remove_pointer_t<decltype(type)>;
        return dialog ? dialog->findChild<T*>(QLatin1String(name)) : nullptr;
    };
    auto* width = find((QLineEdit*)nullptr, "widthTextField");
    auto* height = find((QLineEdit*)nullptr, "heightTextField");
    auto* constrainBox = find((QCheckBox*)nullptr, "constrainProportionsButton");
    auto* thumbnailBox = find((QCheckBox*)nullptr, "makeThumbnailButton");
    auto* units = find((QComboBox*)nullptr, "percentPopUpButton");
    auto* units2 = find((QComboBox*)nullptr, "percentPopUpButton2");
    auto* ok = find((QPushButton*)nullptr, "okButton");
    auto* cancel = find((QPushButton*)nullptr, "cancelButton");
    if (!width || !height || !constrainBox || !thumbnailBox || !units || !units2 || !ok ||
        !cancel) {
        delete loaded;
        qWarning("Failed to load ImageInfoTool.nib");
        QApplication::beep();
        return false;
    }
    if (m_window) {
        // A dialog still open ends as closed (code 0); it is deleted once its
        // run has unwound, never under a running exec().
        if (m_window->isVisible()) m_window->done(0);
        m_window->deleteLater();
    }
    m_window = dialog;
    _widthTextField = width;
    _heightTextField = height;
    _constrainProportionsButton = constrainBox;
    _makeThumbnailButton = thumbnailBox;
    _percentPopUpButton = units;
    _percentPopUpButton2 = units2;
    awakeFromNib();

    for (QLineEdit* field : {width, height}) {
        field->setValidator(new QIntValidator(0, 1000000, field));
        // Typing only: the fields the dialog fills itself do not count as edits.
        connect(field, &QLineEdit::textEdited, this,
                [this, field] { controlTextDidChange(field); });
    }
    connect(thumbnailBox, &QAbstractButton::clicked, this,
            [this, thumbnailBox] { makeThumbnailButton(thumbnailBox); });
    for (QComboBox* popUp : {units, units2})
        connect(popUp, &QComboBox::activated, this,
                [this, popUp] { selectPercentPopUpButton(popUp); });
    for (QPushButton* button : {ok, cancel})
        connect(button, &QAbstractButton::clicked, this, [this, button] { close(button); });
    dialog->installEventFilter(this);

    // 2.-4.
    _isSheetWindow = sheet;
    _dImageSizeRate = size.width() / size.height();
    setIntValue(_widthTextField, size.width());
    setIntValue(_heightTextField, size.height());
    realSizePixel[0] = tempSizePixel[0] = float(size.width());
    realSizePixel[1] = tempSizePixel[1] = float(size.height());
    tempSizePercent[0] = tempSizePercent[1] = 100;
    _constrainProportionsButton->setEnabled(true);
    _constrainProportionsButton->setChecked(constrain);
    _makeThumbnailButton->setChecked(makeThumbnail);
    if (makeThumbnail) _constrainProportionsButton->setEnabled(false);
    _makeThumbnailButton->setEnabled(!disableFitToSize);

    // 5. Application-modal, or modal to the window it sits on.
    if (sheet && sheetParent) {
        dialog->setWindowFlag(Qt::Sheet);
        dialog->setWindowModality(Qt::WindowModal);
    } else {
        dialog->setWindowModality(Qt::ApplicationModal);
    }
    _widthTextField->setFocus();
    _widthTextField->selectAll();
    return true;
}

void CIFImageInfoController::awakeFromNib() {
    if (_percentPopUpButton) _percentPopUpButton->setCurrentIndex(_currUnitsPopUpIndex);
}

bool CIFImageInfoController::isMakeThumbnail() const {
    return _constrainProportionsButton && m_window && _constrainProportionsButton->isChecked();
}

int CIFImageInfoController::currentUnitIndex() const {
    return _percentPopUpButton ? _percentPopUpButton->currentIndex() : 0;
}

void CIFImageInfoController::makeThumbnailButton(QAbstractButton* sender) {
    if (!_constrainProportionsButton || !sender) return;
    _constrainProportionsButton->setEnabled(!sender->isChecked());
}

void CIFImageInfoController::selectPercentPopUpButton(QObject* sender) {
    if (!_percentPopUpButton || !_percentPopUpButton2) return;
    int index = 0;
    if (sender == _percentPopUpButton) {
        index = _percentPopUpButton->currentIndex();
        _percentPopUpButton2->setCurrentIndex(index);
    } else if (sender == _percentPopUpButton2) {
        index = _percentPopUpButton2->currentIndex();
        _percentPopUpButton->setCurrentIndex(index);
    }
    const float* r = realSizePixel;
    const float* q = tempSizePercent;
    if (index == 0) {
        setIntValue(_widthTextField, double(r[0]) * q[0] / 100);
        setIntValue(_heightTextField, double(r[1]) * q[1] / 100);
    } else if (index == 1) {
        setIntValue(_widthTextField, q[0]);
        setIntValue(_heightTextField, q[1]);
    } else {
        // Only units beyond pixels and percent are remembered.
        _currUnitsPopUpIndex = index;
    }
}

void CIFImageInfoController::controlTextDidChange(QLineEdit* field) {
    if (!field || !_widthTextField) return;
    const int tag = tagOf(field);
    if (tag != 1 && tag != 2) return;
    if (_makeThumbnailButton->isChecked()) return;
    const bool constrain = _constrainProportionsButton->isChecked();
    const int u = currentUnitIndex();
    const float* r = realSizePixel;
    float* p = tempSizePixel;
    float* q = tempSizePercent;
    const int value = intValue(field);
    // The constrained pixel cases leave the other pixel value alone, and the
    // constrained percent case updates P.h from the width but not from the
    // height: callers see exactly these values.
    if (tag == 1) {
        if (constrain && u == 0) {
            setIntValue(_heightTextField, std::ceil(value / _dImageSizeRate));
            p[0] = float(value);
            q[0] = q[1] = p[0] / r[0] * 100;
        } else if (constrain) {
            _heightTextField->setText(QString::number(value));
            q[0] = q[1] = float(value);
            p[0] = q[0] * r[0] / 100;
            p[1] = r[1] * q[1] / 100;
        } else if (u == 0) {
            p[0] = float(value);
            q[0] = p[0] / r[0] * 100;
        } else {
            q[0] = float(value);
            p[0] = q[0] * r[0] / 100;
        }
    } else {
        if (constrain && u == 0) {
            setIntValue(_widthTextField, std::ceil(value * _dImageSizeRate));
            p[1] = float(value);
            q[0] = q[1] = p[1] / r[1] * 100;
        } else if (constrain) {
            _widthTextField->setText(QString::number(value));
            q[0] = q[1] = float(value);
            p[0] = q[0] * r[0] / 100;
        } else if (u == 0) {
            p[1] = float(value);
            q[1] = p[1] / r[1] * 100;
        } else {
            q[1] = float(value);
            p[1] = q[1] * r[1] / 100;
        }
    }
}

void CIFImageInfoController::close(QObject* sender) {
    if (!m_window) return;
    const float width = float(intValue(_widthTextField));
    const float height = float(intValue(_heightTextField));
    _imageSize[0] = width;
    _imageSize[1] = height;
    const bool ok = tagOf(sender) != 0;
    if (ok) {
        if (currentUnitIndex() == 1) {
            _imageSize[0] = realSizePixel[0] * width / 100;
            _imageSize[1] = realSizePixel[1] * height / 100;
        }
    } else {
        tempSizePercent[0] = tempSizePercent[1] = 100;
        realSizePixel[0] = tempSizePixel[0] = _imageSize[0];
        realSizePixel[1] = tempSizePixel[1] = _imageSize[1];
    }
    // Modal run or sheet alike: the window goes and the run ends with the code.
    m_window->done(ok ? 1 : 0);
}

void CIFImageInfoController::windowWillClose() {
    if (m_window && m_window->isVisible()) m_window->done(0);
}

bool CIFImageInfoController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_window) {
        if (event->type() == QEvent::Close) {
            windowWillClose();
        } else if (event->type() == QEvent::KeyPress &&
                   static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            // Escape is the Cancel button.
            close(m_window->findChild<QPushButton*>(QStringLiteral("cancelButton")));
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace cif
