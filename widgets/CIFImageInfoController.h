#pragma once
// The image size dialog: the user types a new picture size in pixels or in
// percent of the present size, optionally keeping the proportions or asking
// for a thumbnail. One shared instance per process; each opening reads the
// bundle's window description "ImageInfoTool" (Resources/ui/ImageInfoTool.ui)
// afresh and resets the size state. Run application-modal
// (changeSize...) or window-modal on another window, the platform's sheet
// (sheetChangeSize...). Sizes are in pixels as single-precision pairs.
// Main thread only.
//
// The description must hold two QLineEdits "widthTextField" and
// "heightTextField" (dynamic property tag 1 and 2), two QCheckBoxes
// "constrainProportionsButton" and "makeThumbnailButton", two QComboBoxes
// "percentPopUpButton" and "percentPopUpButton2" (index 0 pixels, 1 percent)
// and QPushButtons "okButton" (tag non-zero) and "cancelButton" (tag 0).

#include <QObject>
#include <QPointer>
#include <QSizeF>
#include <functional>

class QAbstractButton;
class QCheckBox;
class QComboBox;
#include <QDialog>
class QLineEdit;
class QWidget;

namespace cif {

class CIFImageInfoController : public QObject {
    Q_OBJECT
public:
    // The shared instance, made on first call (owned by the application).
    static CIFImageInfoController* sharedImageInfoTool();

    // Frame autosave name "ImageEditor", rate 1.0, unit index 0.
    explicit CIFImageInfoController(QObject* parent = nullptr);
    ~CIFImageInfoController() override;

    // Runs the dialog application-modally for a picture of size; answers 1
    // after OK, 0 after Cancel or closing, and 0 (with the message "Failed to
    // load ImageInfoTool.nib" and a beep, nothing else changed) when the
    // window description cannot be loaded.
    int changeSizeConstrainProportionsMakeThumbnailDisableFitToSize(QSizeF size, bool constrain,
                                                                    bool makeThumbnail,
                                                                    bool disableFitToSize);

    // didEnd(returnCode) runs once when the sheet ends: 1 after OK, 0 after
    // Cancel or closing.
    using DidEndHandler = std::function<void(int returnCode)>;
    // Opens the dialog window-modally on modalDelegate's window and returns at
    // once; false (logged, beep) when the description cannot be loaded.
    bool
    sheetChangeSizeConstrainProportionsMakeThumbnailDisableFitToSizeModalDelegateDidEndSelector(
        QSizeF size, bool constrain, bool makeThumbnail, bool disableFitToSize,
        QWidget* modalDelegate, DidEndHandler didEnd);

    // The chosen size, set when the dialog closes with OK or Cancel.
    QSizeF imageSize() const { return QSizeF(_imageSize[0], _imageSize[1]); }
    // Reads the constrain-proportions box, not the thumbnail box: callers
    // depend on exactly this reading.
    bool isMakeThumbnail() const;

    // The dialog of the latest opening (kept until the next), or nullptr.
    QDialog* window() const { return m_window; }
    QString windowFrameAutosaveName() const { return m_frameAutosaveName; }

    // The dialog's actions, as its controls send them.
    void awakeFromNib();
    void makeThumbnailButton(QAbstractButton* sender);
    void selectPercentPopUpButton(QObject* sender);
    // OK has a non-zero tag, Cancel tag 0.
    void close(QObject* sender);
    void controlTextDidChange(QLineEdit* field);
    void windowWillClose();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool openWithSize(QSizeF size, bool constrain, bool makeThumbnail, bool disableFitToSize,
                      bool sheet, QWidget* sheetParent);
    int currentUnitIndex() const;

    QPointer<QDialog> m_window;
    QString m_frameAutosaveName;
    DidEndHandler m_didEnd;

    QLineEdit* _widthTextField = nullptr;
    QLineEdit* _heightTextField = nullptr;
    QCheckBox* _constrainProportionsButton = nullptr;
    QCheckBox* _makeThumbnailButton = nullptr;
    QComboBox* _percentPopUpButton = nullptr;
    QComboBox* _percentPopUpButton2 = nullptr;
    float _imageSize[2] = {0, 0};
    double _dImageSizeRate = 1.0;
    bool _isSheetWindow = false;
    float realSizePixel[2] = {0, 0};
    float tempSizePixel[2] = {0, 0};
    float tempSizePercent[2] = {100, 100};
    int _currUnitsPopUpIndex = 0;
};

}  // namespace cif
