#include "HostWindow.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QKeySequence>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QScrollArea>
#include <QSpinBox>
#include <QStatusBar>

#include "HostCanvas.h"

namespace {

constexpr int kMaxHistory = 20;

// The host keeps pictures top-left based; the plug-in's rectangles are
// bottom-left based.
QRectF toPlugIn(const QRect& rect, int pictureHeight) {
    return QRectF(rect.x(), pictureHeight - rect.y() - rect.height(), rect.width(), rect.height());
}

QRect fromPlugIn(const QRectF& rect, int pictureHeight) {
    return QRectF(rect.x(), pictureHeight - rect.y() - rect.height(), rect.width(), rect.height())
        .toAlignedRect();
}

}  // namespace

HostWindow::HostWindow(const QString& bundlePath, QWidget* parent) : QMainWindow(parent) {
    setWindowTitle(tr("CIF Effects Host"));
    m_canvas = new HostCanvas;
    m_scroll = new QScrollArea(this);
    m_scroll->setWidget(m_canvas);
    m_scroll->setAlignment(Qt::AlignCenter);
    m_scroll->setBackgroundRole(QPalette::Dark);
    setCentralWidget(m_scroll);
    m_status = new QLabel(this);
    statusBar()->addWidget(m_status, 1);

    m_plugIn = cif::CIFLoadedPlugIn::load(cif::findCIFBundle(bundlePath), &m_loadError);
    if (m_plugIn) m_main = m_plugIn.factory()->createMain();
    buildMenus();
    connect(m_canvas, &HostCanvas::selectionChanged, this, [this](const QRect& r) {
        m_status->setText(r.isEmpty() ? tr("%1 x %2")
                                            .arg(m_canvas->picture().pixelsWide())
                                            .arg(m_canvas->picture().pixelsHigh())
                                      : tr("Selection %1, %2, %3 x %4")
                                            .arg(r.x())
                                            .arg(r.y())
                                            .arg(r.width())
                                            .arg(r.height()));
    });
    resize(1000, 700);
    updateActions();
}

HostWindow::~HostWindow() {
    // Principal objects go before the bundle that made them.
    m_main.reset();
}

void HostWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(tr("&Open..."), QKeySequence::Open, this, [this] {
        const QString path = QFileDialog::getOpenFileName(
            this, tr("Open Picture"), {}, tr("Pictures (*.png *.jpg *.jpeg *.tif *.tiff)"));
        if (!path.isEmpty()) openPicture(path);
    });
    m_save = file->addAction(tr("Save &As..."), QKeySequence::SaveAs, this, [this] {
        QString path = QFileDialog::getSaveFileName(this, tr("Save As PNG"), m_name + ".png",
                                                    tr("PNG pictures (*.png)"));
        if (path.isEmpty()) return;
        if (!path.endsWith(QLatin1String(".png"), Qt::CaseInsensitive)) path += ".png";
        savePng(path);
    });
    file->addSeparator();
    file->addAction(tr("&Quit"), QKeySequence::Quit, qApp, &QApplication::quit);

    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    m_undo = edit->addAction(tr("&Undo"), QKeySequence::Undo, this, [this] { undo(); });
    edit->addSeparator();
    edit->addAction(tr("Select &All"), QKeySequence::SelectAll, this, [this] {
        m_canvas->setSelection(
            QRect(0, 0, m_canvas->picture().pixelsWide(), m_canvas->picture().pixelsHigh()));
    });
    edit->addAction(tr("&Deselect"), QKeySequence(tr("Ctrl+D")), this,
                    [this] { m_canvas->setSelection({}); });

    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->addAction(tr("Zoom &In"), QKeySequence::ZoomIn, this,
                    [this] { m_canvas->setZoom(m_canvas->zoom() * 1.25); });
    view->addAction(tr("Zoom &Out"), QKeySequence::ZoomOut, this,
                    [this] { m_canvas->setZoom(m_canvas->zoom() / 1.25); });

    QMenu* filter = menuBar()->addMenu(tr("Fi&lter"));
    m_effects = filter->addAction(tr("&Effects..."), QKeySequence(tr("Ctrl+E")), this,
                                  [this] { runEffects(); });
    m_generator =
        filter->addAction(tr("New from &Generator..."), QKeySequence(tr("Ctrl+G")), this, [this] {
            QDialog ask(this);
            ask.setWindowTitle(tr("New from Generator"));
            auto* form = new QFormLayout(&ask);
            auto* width = new QSpinBox(&ask);
            auto* height = new QSpinBox(&ask);
            width->setRange(1, 30000);
            height->setRange(1, 30000);
            const bool has = !m_canvas->picture().isNull();
            width->setValue(has ? m_canvas->picture().pixelsWide() : 1024);
            height->setValue(has ? m_canvas->picture().pixelsHigh() : 768);
            form->addRow(tr("Width:"), width);
            form->addRow(tr("Height:"), height);
            auto* buttons =
                new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &ask);
            form->addRow(buttons);
            connect(buttons, &QDialogButtonBox::accepted, &ask, &QDialog::accept);
            connect(buttons, &QDialogButtonBox::rejected, &ask, &QDialog::reject);
            if (ask.exec() == QDialog::Accepted)
                runGenerator(QSize(width->value(), height->value()));
        });
}

void HostWindow::updateActions() {
    const bool loaded = m_main != nullptr;
    const bool picture = !m_canvas->picture().isNull();
    m_effects->setEnabled(loaded && picture);
    m_generator->setEnabled(loaded);
    m_undo->setEnabled(!m_history.isEmpty());
    m_save->setEnabled(picture);
    if (!loaded) m_status->setText(m_loadError);
}

bool HostWindow::openPicture(const QString& path, bool quiet) {
    QString error;
    const cif::HostImage picture = cif::HostImage::load(path, &error);
    if (picture.isNull()) {
        if (!quiet) QMessageBox::warning(this, tr("Open Picture"), error);
        return false;
    }
    m_history.clear();
    setPicture(picture, QFileInfo(path).completeBaseName());
    return true;
}

void HostWindow::setPicture(const cif::HostImage& picture, const QString& name) {
    m_name = name;
    m_canvas->setPicture(picture);
    // Fit large pictures into the window.
    const QSize area = m_scroll->viewport()->size();
    const double fit =
        std::min(1.0, std::min(double(area.width()) / std::max(1, picture.pixelsWide()),
                               double(area.height()) / std::max(1, picture.pixelsHigh())));
    m_canvas->setZoom(fit);
    setWindowTitle(tr("%1 - CIF Effects Host").arg(name));
    updateActions();
}

void HostWindow::commit(const cif::HostImage& picture) {
    m_history.push_back(m_canvas->picture());
    if (m_history.size() > kMaxHistory) m_history.removeFirst();
    const QRect selection = m_canvas->selection();
    const double zoom = m_canvas->zoom();
    m_canvas->setPicture(picture);
    m_canvas->setZoom(zoom);
    if (!selection.isEmpty()) m_canvas->setSelection(selection);
    updateActions();
}

bool HostWindow::runEffects() {
    if (!m_main || m_canvas->picture().isNull()) return false;
    const cif::HostImage source = m_canvas->picture();
    const QRect selection = m_canvas->selection();
    const int height = source.pixelsHigh();
    if (!m_main->CIFShowDialogUseSelectionWithRect(source, !selection.isEmpty(),
                                                   toPlugIn(selection, height)))
        return false;
    const cif::HostImage output = m_main->CIFOutputImage();
    if (output.isNull()) return false;
    const bool sameSize =
        output.pixelsWide() == source.pixelsWide() && output.pixelsHigh() == source.pixelsHigh();
    if (!m_main->CIFIsSelected() || !sameSize) {
        commit(output);
        return true;
    }
    // The result replaces the selection only; the rest stays as it was.
    const QRect area = fromPlugIn(m_main->CIFSelectionRect(), height)
                           .intersected(QRect(0, 0, source.pixelsWide(), height));
    QImage merged = source.rasterize(QSize(source.pixelsWide(), height));
    if (merged.isNull() || area.isEmpty()) {
        commit(output);
        return true;
    }
    {
        QPainter painter(&merged);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.setClipRect(area);
        output.drawInRect(painter, QRectF(merged.rect()));
    }
    commit(cif::HostImage::fromQImage(merged));
    return true;
}

bool HostWindow::runGenerator(QSize size) {
    if (!m_main || size.isEmpty()) return false;
    if (!m_main->GLIFShowDialogWithRect(QVariant(), QRectF(QPointF(0, 0), QSizeF(size))))
        return false;
    const cif::HostImage output = m_main->CIFOutputImage();
    if (output.isNull()) return false;
    if (m_canvas->picture().isNull()) {
        setPicture(output, tr("Generated"));
        return true;
    }
    commit(output);
    return true;
}

bool HostWindow::undo() {
    if (m_history.isEmpty()) return false;
    const double zoom = m_canvas->zoom();
    m_canvas->setPicture(m_history.takeLast());
    m_canvas->setZoom(zoom);
    updateActions();
    return true;
}

bool HostWindow::savePng(const QString& path) {
    QString error;
    if (m_canvas->picture().savePNG(path, &error)) return true;
    QMessageBox::warning(this, tr("Save As PNG"), error);
    return false;
}
