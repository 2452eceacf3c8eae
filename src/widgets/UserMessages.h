#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QWidget;

namespace vantor::widgets {

// Every message box of the windows goes through here, so tests can read the messages instead of
// clicking them away.
class UserMessages {
public:
    using Sink = std::function<void(QWidget* parent, const QString& text)>;

    static void show(QWidget* parent, const QString& text);
    static void show(QWidget* parent, const std::string& text) { show(parent, QString::fromStdString(text)); }
    static void show(QWidget* parent, const char* text) { show(parent, QString::fromUtf8(text)); }
    // A question with 是 and 否 (the default); true for 是. Its box is named "confirm".
    static bool confirm(QWidget* parent, const QString& question);
    // A question with several answers, the detail behind the box's "显示详细信息"; the index of the
    // answer chosen, the last one when the box is closed. Its box is named "choice".
    static int choose(QWidget* parent, const QString& text, const QString& detail,
                      const QStringList& answers);
    // Replaces the message boxes; an empty sink restores them.
    static void redirect(Sink sink);
};

} // namespace vantor::widgets
