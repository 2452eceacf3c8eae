#include "UserMessages.h"

#include <QMessageBox>
#include <QPushButton>

namespace vantor::widgets {

namespace {
UserMessages::Sink& sink() {
    static UserMessages::Sink current;
    return current;
}
} // namespace

void UserMessages::show(QWidget* parent, const QString& text) {
    if (sink())
        sink()(parent, text);
    else
        QMessageBox::information(parent, "Vantor专业版", text);
}

bool UserMessages::confirm(QWidget* parent, const QString& question) {
    QMessageBox ask(QMessageBox::Question, "Vantor专业版", question, QMessageBox::Yes | QMessageBox::No,
                    parent);
    ask.setObjectName("confirm");
    ask.setDefaultButton(QMessageBox::No);
    return ask.exec() == QMessageBox::Yes;
}

int UserMessages::choose(QWidget* parent, const QString& text, const QString& detail,
                         const QStringList& answers) {
    QMessageBox ask(QMessageBox::Warning, "Vantor专业版", text, QMessageBox::NoButton, parent);
    ask.setObjectName("choice");
    ask.setDetailedText(detail);
    QList<QAbstractButton*> buttons;
    for (const QString& answer : answers)
        buttons.append(ask.addButton(answer, QMessageBox::AcceptRole));
    ask.setDefaultButton(qobject_cast<QPushButton*>(buttons.front()));
    ask.setEscapeButton(buttons.back());
    ask.exec();
    const qsizetype chosen = buttons.indexOf(ask.clickedButton());
    return chosen < 0 ? int(answers.size()) - 1 : int(chosen);
}

void UserMessages::redirect(Sink replacement) {
    sink() = std::move(replacement);
}

} // namespace vantor::widgets
