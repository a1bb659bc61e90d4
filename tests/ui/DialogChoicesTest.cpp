#include "UiFixture.h"

#include "DialogChoices.h"

#include <QFileDialog>

using namespace vantor;

namespace {

// Chooses `path` in the next file dialog, as a user typing it and pressing Enter.
void chooseInDialog(const QString &path)
{
    auto *timer = new QTimer;
    timer->setInterval(20);
    QObject::connect(timer, &QTimer::timeout, [timer, path] {
        if (auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget())) {
            dialog->selectFile(path);
            QMetaObject::invokeMethod(dialog, "accept");
            timer->deleteLater();
        }
    });
    timer->start();
}

TEST(DialogChoicesTest, AnswersWithTheDesktopDialogs)
{
    test::TempDir dir;
    const QString clip = dir.write(QStringLiteral("card/A001.MOV"), "clip");
    const QString card = dir.makeDir(QStringLiteral("cards/B002"));
    ui::DialogChoices choices;

    test::UiTest::answerDialog(QStringLiteral("confirm-ok"));
    EXPECT_TRUE(choices.confirm(QStringLiteral("Rename 3 files?"), QStringLiteral("The names shown are used.")));
    test::UiTest::answerDialog(QStringLiteral("confirm-cancel"));
    EXPECT_FALSE(choices.confirm(QStringLiteral("Rename 3 files?"), QStringLiteral("The names shown are used.")));

    chooseInDialog(card);
    EXPECT_EQ(choices.chooseFolder(QStringLiteral("Choose a project location")), std::optional(card));
    chooseInDialog(clip);
    EXPECT_EQ(choices.chooseFiles(QStringLiteral("Add media")), QStringList{clip});
    // A folder chosen among files is taken as it is, not opened.
    chooseInDialog(card);
    EXPECT_EQ(choices.chooseFiles(QStringLiteral("Add media")), QStringList{card});
}

} // namespace
