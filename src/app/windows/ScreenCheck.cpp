#include "ScreenCheck.h"

#include <QAbstractButton>
#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QPixmap>
#include <QScreen>
#include <QTabWidget>
#include <QTextLayout>
#include <QToolBox>
#include <QWidget>

namespace vantor {
namespace {

// Shapes the text as the widget would, font fallback included; glyph 0 is the font's "missing" box.
bool drawable(const QString& text, const QFont& font) {
    QTextLayout layout(text, font);
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    for (const QGlyphRun& run : layout.glyphRuns())
        for (quint32 glyph : run.glyphIndexes())
            if (glyph == 0) return false;
    return true;
}

void check(const QString& text, const QFont& font, QStringList& missing) {
    QString plain = text;
    plain.remove('&');
    if (!plain.trimmed().isEmpty() && !drawable(plain, font) && !missing.contains(plain))
        missing.append(plain);
}

} // namespace

QStringList textsWithMissingGlyphs(QWidget* root) {
    QStringList missing;
    check(root->windowTitle(), root->font(), missing);
    for (auto* button : root->findChildren<QAbstractButton*>())
        check(button->text(), button->font(), missing);
    for (auto* label : root->findChildren<QLabel*>())
        if (label->textFormat() != Qt::RichText) check(label->text(), label->font(), missing);
    for (auto* menu : root->findChildren<QMenu*>()) {
        check(menu->title(), menu->font(), missing);
        for (auto* action : menu->actions())
            check(action->text(), menu->font(), missing);
    }
    for (auto* box : root->findChildren<QToolBox*>())
        for (int i = 0; i < box->count(); ++i)
            check(box->itemText(i), box->font(), missing);
    for (auto* tabs : root->findChildren<QTabWidget*>())
        for (int i = 0; i < tabs->count(); ++i)
            check(tabs->tabText(i), tabs->font(), missing);
    return missing;
}

bool saveScreenshot(QWidget* window, const QString& file) {
    QScreen* screen = window->screen();
    if (!screen) return false;
    QRect frame = window->frameGeometry();
    QPixmap shot = screen->grabWindow(0, frame.x(), frame.y(), frame.width(), frame.height());
    if (shot.isNull()) shot = window->grab();
    return shot.save(file, "PNG");
}

} // namespace vantor
