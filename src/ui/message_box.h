// Notices and questions of the windows, titled with the program's name. Their texts are plain: what
// looks like markup in a name is shown as it is, and very long names lose their middle.
#pragma once

#include <QMessageBox>
#include <QString>

class QWidget;

namespace kavrel {

/// Draws the user's eye to the window: the information beep and a flash.
void Attract(QWidget& window);

/// Prepares any message box for its texts, which are to be set before.
void ShowPlainly(QMessageBox& box);

/// Attracts, then tells something that needs no decision.
void Inform(QWidget& owner, const QString& text);
/// Tells that something was refused.
void Warn(QWidget& owner, const QString& text);
/// Tells that something failed.
void TellFailure(QWidget& owner, const QString& text);

/// Tells something without waiting for anybody to read it, in a box beside the window; one that is
/// still open tells it as well.
void TellBeside(QWidget& owner, const QString& text);

/// A question whose every answer but Yes means no.
bool Confirm(QWidget& owner, const QString& text, QMessageBox::Icon icon = QMessageBox::Question,
             const QString& details = {});

/// The same about what cannot be undone: with a warning, and No as the default.
bool ConfirmLoss(QWidget& owner, const QString& text, const QString& details);

enum class Choice { Yes, No, Cancel };
/// Yes is the default; closing the question is Cancel.
Choice Ask(QWidget& owner, const QString& text, QMessageBox::Icon icon = QMessageBox::Question);

}  // namespace kavrel
