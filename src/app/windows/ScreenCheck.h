#pragma once

#include <QString>
#include <QStringList>

class QWidget;

namespace vantor {

// The texts under a widget (window captions, buttons, labels, menus, tab and section titles) that hold
// a character no installed font can draw: such a text would show empty boxes on screen.
QStringList textsWithMissingGlyphs(QWidget* root);

// Saves what the screen shows of the window as a PNG file.
bool saveScreenshot(QWidget* window, const QString& file);

} // namespace vantor
