#pragma once

#include <QString>

#include <functional>

class QWidget;

namespace vantor {

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
    // Replaces the message boxes; an empty sink restores them.
    static void redirect(Sink sink);
};

} // namespace vantor
