#include "Desktop/Windows/SaveDialogWindow.hpp"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

void showSaveDialog(QWidget* parent, const SaveDialog& texts, std::function<void(const std::string&)> save) {
    auto* dialog = new QDialog(parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(toolkitText(texts.message));
    auto* message = new QLabel(toolkitText(texts.message), dialog);
    QFont bold = message->font();
    bold.setWeight(QFont::Bold);
    message->setFont(bold);
    auto* name = new QLineEdit(toolkitText(texts.name), dialog);
    name->setPlaceholderText(toolkitText(texts.placeholder));
    name->setAccessibleName(toolkitText(texts.placeholder));
    name->setMinimumWidth(240);
    name->selectAll();
    auto* buttons = new QDialogButtonBox(dialog);
    buttons->addButton(toolkitText(texts.saveButton), QDialogButtonBox::AcceptRole)->setDefault(true);
    buttons->addButton(toolkitText(texts.cancelButton), QDialogButtonBox::RejectRole);
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    QObject::connect(dialog, &QDialog::accepted, name,
                     [name, save = std::move(save)] { save(name->text().toStdString()); });
    auto* column = new QVBoxLayout(dialog);
    column->setContentsMargins(20, 18, 20, 16);
    column->addWidget(message);
    column->addWidget(new QLabel(toolkitText(texts.informativeText), dialog));
    column->addWidget(name);
    column->addSpacing(6);
    column->addWidget(buttons);
    name->setFocus();
    dialog->open();
}

}  // namespace dovra
