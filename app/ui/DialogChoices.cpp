#include "DialogChoices.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>

namespace vantor::ui {

namespace {

// A file dialog that accepts files and folders together: choosing a folder takes it as it is
// instead of opening it.
class FilesAndFoldersDialog : public QFileDialog {
public:
    FilesAndFoldersDialog(QWidget *parent, const QString &title) : QFileDialog(parent, title)
    {
        setObjectName(QStringLiteral("files-dialog"));
        setOption(QFileDialog::DontUseNativeDialog);
        setFileMode(QFileDialog::ExistingFiles);
        setDirectory(QDir::homePath());
    }

    void accept() override
    {
        const QStringList chosen = selectedFiles();
        if (!chosen.isEmpty() && std::all_of(chosen.begin(), chosen.end(), [](const QString &path) {
                return QFileInfo::exists(path);
            }))
            QDialog::accept();
        else
            QFileDialog::accept();
    }
};

} // namespace

std::optional<QString> DialogChoices::chooseFolder(const QString &title)
{
    QFileDialog dialog(m_parent, title, QDir::homePath());
    dialog.setObjectName(QStringLiteral("folder-dialog"));
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return dialog.selectedFiles().first();
}

QStringList DialogChoices::chooseFiles(const QString &title)
{
    FilesAndFoldersDialog dialog(m_parent, title);
    if (dialog.exec() != QDialog::Accepted)
        return {};
    return dialog.selectedFiles();
}

bool DialogChoices::confirm(const QString &title, const QString &message)
{
    QMessageBox box(QMessageBox::Question, title, title, QMessageBox::NoButton, m_parent);
    box.setObjectName(QStringLiteral("confirm-dialog"));
    box.setInformativeText(message);
    QPushButton *cancel = box.addButton(QMessageBox::Cancel);
    QPushButton *ok = box.addButton(QMessageBox::Ok);
    cancel->setObjectName(QStringLiteral("confirm-cancel"));
    ok->setObjectName(QStringLiteral("confirm-ok"));
    box.setDefaultButton(cancel);
    box.exec();
    return box.clickedButton() == ok;
}

} // namespace vantor::ui
