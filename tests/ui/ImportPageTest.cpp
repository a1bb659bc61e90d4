#include "RefusalCheck.h"
#include "models/SourceListModel.h"
#include "presets/PresetService.h"
#include "queue/CardTracker.h"
#include "widgets/DropZone.h"
#include "widgets/SourceDelegate.h"

#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QComboBox>
#include <QDropEvent>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QMimeData>
#include <QRegularExpression>
#include <QTabWidget>

using namespace vantor;

namespace {

class ImportPageTest : public test::UiTest {
protected:
    const QString card = dir.file(QStringLiteral("card"));
    const QString project = dir.makeDir(QStringLiteral("Doc"));

    void SetUp() override
    {
        // A card's clips in its own folders, a sidecar beside them and a hidden file the scan skips.
        dir.write(QStringLiteral("card/A001/CLIP/C0001.MOV"), test::randomBytes(70000, 1));
        dir.write(QStringLiteral("card/A001/CLIP/C0001M01.XML"), "<clip/>");
        dir.write(QStringLiteral("card/A001/CLIP/C0002.MOV"), test::randomBytes(50000, 2));
        dir.write(QStringLiteral("card/.Spotlight"), "x");
    }
    void openWith(JobPhases jobPhases)
    {
        window.reset();
        workspace.reset();
        workspace = std::make_unique<Workspace>(support, std::move(jobPhases), &answers);
        window = std::make_unique<ui::MainWindow>(*workspace);
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        workspace->setPage(Page::ingest);
    }
    // Drops `urls` on the drop zone as a file manager does; returns whether it took the drag.
    bool drop(const QList<QUrl> &urls)
    {
        auto *zone = find<ui::DropZone>(QStringLiteral("dropZone"));
        QMimeData data;
        data.setUrls(urls);
        const QPoint centre = zone->rect().center();
        QDragEnterEvent enter(centre, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(zone, &enter);
        QDropEvent dropped(QPointF(centre), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(zone, &dropped);
        return enter.isAccepted();
    }
    void dropCard()
    {
        ASSERT_TRUE(drop({ QUrl::fromLocalFile(card) }));
        ASSERT_TRUE(waitUntil([&] { return !workspace->scanning(); }));
        ASSERT_EQ(workspace->sources().size(), 3u);
    }
    // Each row as "name -> previewed output name".
    QStringList rows()
    {
        QStringList shown;
        const QAbstractItemModel *model = find<QListView>(QStringLiteral("sourceList"))->model();
        for (int row = 0; row < model->rowCount(); ++row) {
            const QModelIndex index = model->index(row, 0);
            shown << index.data().toString() + QStringLiteral(" -> ")
                    + index.data(ui::SourceListModel::OutputNameRole).toString();
        }
        return shown;
    }
    void type(const QString &field, const QString &text)
    {
        auto *edit = find<QLineEdit>(field);
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Backspace);
        QTest::keyClicks(edit, text);
    }
    void choose(const QString &combo, const QString &item)
    {
        auto *box = find<QComboBox>(combo);
        const int row = box->findText(item);
        ASSERT_GE(row, 0) << item.toStdString();
        box->setCurrentIndex(row);
        Q_EMIT box->activated(row);
    }
    QString label(const QString &name) { return find<QLabel>(name)->text(); }
};

TEST_F(ImportPageTest, ADroppedCardListsItsFilesWithThePreviewedNames)
{
    openWith(phases());
    QAbstractItemModelTester tester(find<QListView>(QStringLiteral("sourceList"))->model(),
        QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(label(QStringLiteral("importProject")), QStringLiteral("Create or open a project first"));
    workspace->setName(QStringLiteral("Doc"));
    workspace->setLocation(dir.makeDir(QStringLiteral("projects")));
    workspace->createProject();
    ASSERT_TRUE(waitUntil([&] { return !workspace->scanning(); }));
    EXPECT_EQ(label(QStringLiteral("importProject")), QStringLiteral("Into \u201CDoc\u201D"));

    // Only local files are taken; a web address leaves everything as it was.
    EXPECT_FALSE(drop({ QUrl(QStringLiteral("https://example.org/clip.mov")) }));
    EXPECT_FALSE(workspace->scanning());

    ASSERT_TRUE(drop({ QUrl::fromLocalFile(card) }));
    EXPECT_TRUE(find(QStringLiteral("scanning"))->isVisible());
    EXPECT_FALSE(find<QAbstractButton>(QStringLiteral("queueStart"))->isEnabled());
    ASSERT_TRUE(waitUntil([&] { return !workspace->scanning(); }));
    EXPECT_FALSE(find(QStringLiteral("scanning"))->isVisible());
    EXPECT_EQ(workspace->page(), Page::ingest);

    const TranscodePreset &preset = workspace->preset();
    const QString proxy = preset.suffix + u'.' + preset.container;
    EXPECT_EQ(rows(),
        (QStringList { "C0001.MOV -> C0001" + proxy, QStringLiteral("C0001M01.XML -> C0001M01.XML"),
            "C0002.MOV -> C0002" + proxy }));
    EXPECT_EQ(label(QStringLiteral("sourceCount")), QStringLiteral("3 FILES"));
    EXPECT_EQ(label(QStringLiteral("sourceSummary")), QStringLiteral("3 files \u00B7 120.0 kB total"));

    // Renaming, typed on the Naming tab, reaches every row's preview.
    find<QTabWidget>(QStringLiteral("planTabs"))->setCurrentIndex(2);
    click(QStringLiteral("renameOutputs"));
    type(QStringLiteral("namingPattern"), QStringLiteral("{PROJECT}_{CAMERA}{COUNTER}"));
    type(QStringLiteral("namingCamera"), QStringLiteral("A"));
    EXPECT_EQ(rows(),
        (QStringList { "C0001.MOV -> Doc_A0001" + proxy, QStringLiteral("C0001M01.XML -> Doc_A0002.XML"),
            "C0002.MOV -> Doc_A0003" + proxy }));
    EXPECT_EQ(label(QStringLiteral("namingPreview")), "C0001.MOV \u2192 Doc_A0001" + proxy);

    // A pattern that cannot be expanded previews nothing and says why.
    type(QStringLiteral("namingPattern"), QStringLiteral("{LENS}"));
    EXPECT_EQ(rows().first(), QStringLiteral("C0001.MOV -> "));
    EXPECT_TRUE(label(QStringLiteral("namingPreview")).contains(QStringLiteral("LENS")));

    // The same card again adds nothing.
    dropCard();
    EXPECT_EQ(workspace->notice(), QStringLiteral("3 source files ready"));
}

TEST_F(ImportPageTest, QueueAndStartCopiesTheCardAndTheCopiesEqualTheirSources)
{
    openWith(runJobPhases);
    workspace->openProjectFolder(project);
    workspace->setPage(Page::ingest);
    dropCard();
    choose(QStringLiteral("planOperation"), QStringLiteral("Copy & organize"));
    find<QTabWidget>(QStringLiteral("planTabs"))->setCurrentIndex(1);
    EXPECT_TRUE(find(QStringLiteral("proxyHint"))->isVisible());
    EXPECT_FALSE(find(QStringLiteral("planPreset"))->isVisible());

    click(QStringLiteral("queueStart"));
    ASSERT_TRUE(waitUntil([&] {
        const auto &jobs = queue().state().jobs;
        return jobs.size() == 3
            && std::all_of(jobs.begin(), jobs.end(), [](const MediaJob &job) { return job.status.final(); });
    }));
    EXPECT_EQ(workspace->page(), Page::queue);
    EXPECT_TRUE(workspace->sources().empty());
    const QString copies = project + QStringLiteral("/02_FOOTAGE/ORIGINALS/");
    for (const MediaJob &job : queue().state().jobs) {
        EXPECT_EQ(job.status, JobStatus::complete) << job.error.value_or(QString()).toStdString();
        EXPECT_FALSE(job.preset.has_value());
        EXPECT_FALSE(job.outputDestination.has_value());
        const QString relative
            = QDir(dir.path()).relativeFilePath(job.source); // the card's own name included
        EXPECT_EQ(job.copyDestination, copies + relative);
        EXPECT_TRUE(test::readFile(copies + relative) == test::readFile(job.source))
            << relative.toStdString();
    }
    // The card's copy is sealed in its ASC MHL history once its last job ended.
    workspace->cards().flush();
    QStringList tree = test::listTree(copies);
    tree.replaceInStrings(QRegularExpression("_\\d{4}-\\d\\d-\\d\\d_\\d{6}Z\\.mhl$"), "_DATE.mhl");
    EXPECT_EQ(tree,
        QStringList({ "card/", "card/A001/", "card/A001/CLIP/", "card/A001/CLIP/C0001.MOV",
            "card/A001/CLIP/C0001M01.XML", "card/A001/CLIP/C0002.MOV", "card/ascmhl/",
            "card/ascmhl/0001_card_DATE.mhl", "card/ascmhl/ascmhl_chain.xml" }));
}

TEST_F(ImportPageTest, WithRenamingOnNothingIsQueuedUntilQueueNamedCopies)
{
    openWith(phases());
    workspace->openProjectFolder(project);
    workspace->setPage(Page::ingest);
    dropCard();
    choose(QStringLiteral("planOperation"), QStringLiteral("Copy & organize"));
    workspace->setRename(true);
    workspace->setPattern(QStringLiteral("{PROJECT}_{COUNTER}"));
    const QStringList previewed = rows();

    struct Answer {
        const char *button;
        bool queued;
    };
    for (const Answer &answer : { Answer { "renameCancel", false }, Answer { "queueNamedCopies", true } }) {
        click(QStringLiteral("queueStart"));
        QMessageBox *box = nullptr; // the one showing; an answered one may still await deletion
        ASSERT_TRUE(waitUntil([&] {
            for (QMessageBox *shown :
                window->findChildren<QMessageBox *>(QStringLiteral("renameConfirmation")))
                box = shown->isVisible() ? shown : box;
            return box != nullptr;
        }));
        EXPECT_TRUE(workspace->renameConfirmation());
        EXPECT_EQ(box->text(), QStringLiteral("Use the previewed output names?"));
        EXPECT_EQ(box->informativeText(),
            QStringLiteral("Only newly created copies and transcodes receive these "
                           "names. Original source filenames remain unchanged."));
        auto *cancel = box->findChild<QAbstractButton *>(QStringLiteral("renameCancel"));
        auto *accept = box->findChild<QAbstractButton *>(QStringLiteral("queueNamedCopies"));
        ASSERT_TRUE(cancel && accept);
        EXPECT_EQ(QStringList({ cancel->text(), accept->text() }),
            QStringList({ QStringLiteral("Cancel"), QStringLiteral("Queue named copies") }));
        EXPECT_TRUE(queue().state().jobs.empty());
        QTest::mouseClick(box->findChild<QAbstractButton *>(QLatin1String(answer.button)), Qt::LeftButton);
        EXPECT_FALSE(workspace->renameConfirmation());
        EXPECT_EQ(queue().state().jobs.size(), answer.queued ? 3u : 0u) << answer.button;
    }
    QStringList named;
    for (const MediaJob &job : queue().state().jobs)
        named << QFileInfo(job.source).fileName() + QStringLiteral(" -> ")
                + QFileInfo(*job.copyDestination).fileName();
    EXPECT_EQ(named, previewed);
    EXPECT_EQ(previewed.first(), QStringLiteral("C0001.MOV -> Doc_0001.MOV"));
}

TEST_F(ImportPageTest, PlanControlsChangeTheFieldsTheyName)
{
    openWith(phases());
    struct Case {
        const char *control;
        std::function<void()> act;
        std::function<bool()> changed;
    };
    const TranscodePreset last = queue().state().presets.back();
    const Case cases[] = {
        { "copyFolder", [&] { type(QStringLiteral("copyFolder"), QStringLiteral("CARDS/{CAMERA}")); },
            [&] { return workspace->copyFolder() == QStringLiteral("CARDS/{CAMERA}"); } },
        { "planHierarchy", [&] { find<QCheckBox>(QStringLiteral("planHierarchy"))->click(); },
            [&] { return !workspace->hierarchy(); } },
        { "planChecksum", [&] { choose(QStringLiteral("planChecksum"), QStringLiteral("SHA-256")); },
            [&] { return workspace->algorithm() == ChecksumAlgorithm::sha256; } },
        { "planVerify", [&] { find<QCheckBox>(QStringLiteral("planVerify"))->click(); },
            [&] { return !workspace->verify(); } },
        { "planPreset", [&] { choose(QStringLiteral("planPreset"), last.name); },
            [&] { return workspace->preset() == last; } },
        { "outputFolder", [&] { type(QStringLiteral("outputFolder"), QStringLiteral("PROXY")); },
            [&] { return workspace->outputFolder() == QStringLiteral("PROXY"); } },
        { "renameOutputs", [&] { find<QCheckBox>(QStringLiteral("renameOutputs"))->click(); },
            [&] { return workspace->rename(); } },
        { "namingPattern", [&] { type(QStringLiteral("namingPattern"), QStringLiteral("{SCENE}")); },
            [&] { return workspace->pattern() == QStringLiteral("{SCENE}"); } },
        { "namingCamera", [&] { type(QStringLiteral("namingCamera"), QStringLiteral("B")); },
            [&] { return workspace->camera() == "B"; } },
        { "namingRoll", [&] { type(QStringLiteral("namingRoll"), QStringLiteral("R2")); },
            [&] { return workspace->roll() == "R2"; } },
        { "namingScene", [&] { type(QStringLiteral("namingScene"), QStringLiteral("12")); },
            [&] { return workspace->scene() == "12"; } },
        { "namingShot", [&] { type(QStringLiteral("namingShot"), QStringLiteral("4")); },
            [&] { return workspace->shot() == "4"; } },
        { "namingTake", [&] { type(QStringLiteral("namingTake"), QStringLiteral("7")); },
            [&] { return workspace->take() == "7"; } },
        { "planOperation",
            [&] { choose(QStringLiteral("planOperation"), QStringLiteral("Transcode in place")); },
            [&] { return workspace->operation() == JobOperation::transcode; } },
    };
    auto *tabs = find<QTabWidget>(QStringLiteral("planTabs"));
    for (const Case &entry : cases) {
        QWidget *control = find(QLatin1String(entry.control));
        for (int tab = 0; tab < tabs->count(); ++tab) { // the tab holding the control, as a user would
            if (tabs->widget(tab)->isAncestorOf(control))
                tabs->setCurrentIndex(tab);
        }
        ASSERT_TRUE(control->isVisible()) << entry.control;
        entry.act();
        EXPECT_TRUE(entry.changed()) << entry.control;
    }
    // The controls follow the workspace when it changes elsewhere.
    workspace->setOperation(JobOperation::copy);
    workspace->setPattern(QStringLiteral("{TAKE}"));
    workspace->setVerify(true);
    EXPECT_EQ(
        find<QComboBox>(QStringLiteral("planOperation"))->currentText(), QStringLiteral("Copy & organize"));
    EXPECT_EQ(find<QLineEdit>(QStringLiteral("namingPattern"))->text(), QStringLiteral("{TAKE}"));
    EXPECT_TRUE(find<QCheckBox>(QStringLiteral("planVerify"))->isChecked());
}

TEST_F(ImportPageTest, BackupDestinationsAreAddedRemovedAndOwedByTheQueuedJobs)
{
    openWith(phases());
    workspace->openProjectFolder(project);
    workspace->setPage(Page::ingest);
    find<QTabWidget>(QStringLiteral("planTabs"))->setCurrentIndex(0);
    auto *list = find<QListView>(QStringLiteral("planBackups"));
    auto *cascade = find<QCheckBox>(QStringLiteral("planCascade"));
    EXPECT_FALSE(cascade->isEnabled()) << "nothing to cascade to yet";
    EXPECT_FALSE(cascade->toolTip().isEmpty());
    EXPECT_FALSE(find(QStringLiteral("planRemoveBackup"))->isEnabled());

    answers.folders << dir.makeDir(QStringLiteral("shuttle1")) << dir.makeDir(QStringLiteral("shuttle2")) << project;
    for (int added = 0; added < 3; ++added)
        click(QStringLiteral("planAddBackup"));
    test::expectRefusal(*this, QStringLiteral("A backup folder must lie outside the project folder: ") + project);
    EXPECT_EQ(answers.asked.count(QStringLiteral("Choose backup destination")), 3);
    ASSERT_EQ(list->model()->rowCount(), 2);
    EXPECT_TRUE(cascade->isEnabled());

    const QModelIndex first = list->model()->index(0, 0);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualRect(first).center());
    click(QStringLiteral("planRemoveBackup"));
    EXPECT_EQ(workspace->backupFolders(), QStringList{dir.file(QStringLiteral("shuttle2"))});
    cascade->click();
    EXPECT_TRUE(workspace->cascade());

    // Transcoding in place makes no copy to back up.
    choose(QStringLiteral("planOperation"), QStringLiteral("Transcode in place"));
    EXPECT_FALSE(find(QStringLiteral("planAddBackup"))->isEnabled());
    EXPECT_FALSE(cascade->isEnabled());
    choose(QStringLiteral("planOperation"), QStringLiteral("Copy & organize"));

    dropCard();
    click(QStringLiteral("queueStart"));
    ASSERT_TRUE(waitUntil([&] { return queue().state().jobs.size() == 3; }));
    for (const MediaJob &job : queue().state().jobs) {
        ASSERT_EQ(job.backups.size(), 1u);
        EXPECT_EQ(std::make_tuple(job.backups[0].root, job.backups[0].deferred),
                  std::make_tuple(dir.file(QStringLiteral("shuttle2")), true));
    }
}

TEST_F(ImportPageTest, RowsLeaveByTheirMarkByTheKeyboardAndAllAtOnce)
{
    openWith(phases());
    dropCard();
    workspace->setOperation(JobOperation::copy);
    workspace->setRename(true);
    workspace->setPattern(QStringLiteral("{ORIGINAL}-{COUNTER}"));
    for (const SourceFile &source : workspace->sources())
        workspace->setSourcePreset(source.url, PresetService::defaults().first());
    auto *list = find<QListView>(QStringLiteral("sourceList"));
    QAbstractItemModelTester tester(list->model(), QAbstractItemModelTester::FailureReportingMode::Fatal);

    const QRect first = list->visualRect(list->model()->index(0, 0));
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, ui::SourceDelegate::removeRect(first).center());
    // The counters follow the new positions.
    EXPECT_EQ(rows(),
        (QStringList { QStringLiteral("C0001M01.XML -> C0001M01-0001.XML"),
            QStringLiteral("C0002.MOV -> C0002-0002.MOV") }));
    EXPECT_EQ(workspace->sourcePresets().size(), 2);

    list->setFocus();
    list->setCurrentIndex(list->model()->index(1, 0));
    QTest::keyClick(list, Qt::Key_Delete);
    EXPECT_EQ(rows(), QStringList { QStringLiteral("C0001M01.XML -> C0001M01-0001.XML") });

    click(QStringLiteral("removeAll"));
    EXPECT_TRUE(workspace->sources().empty());
    EXPECT_TRUE(workspace->sourcePresets().isEmpty());
    EXPECT_EQ(label(QStringLiteral("sourceCount")), QStringLiteral("0 FILES"));
    EXPECT_FALSE(find<QAbstractButton>(QStringLiteral("removeAll"))->isEnabled());
}

TEST_F(ImportPageTest, ButtonsAddSourcesAndOpenTheAutomationSheet)
{
    openWith(phases());
    answers.files << QStringList { card + QStringLiteral("/A001/CLIP/C0002.MOV") } << QStringList { card };
    click(QStringLiteral("addSources"));
    ASSERT_TRUE(waitUntil([&] { return !workspace->scanning() && workspace->sources().size() == 1; }));
    click(QStringLiteral("browseMedia"));
    ASSERT_TRUE(waitUntil([&] { return !workspace->scanning() && workspace->sources().size() == 3; }));
    EXPECT_EQ(answers.asked, QStringList(2, QStringLiteral("Add media, folders or camera cards")));

    click(QStringLiteral("importAutomation"));
    auto *sheet = window->findChild<QDialog *>(QStringLiteral("importAutomationSheet"));
    ASSERT_NE(sheet, nullptr);
    EXPECT_TRUE(waitUntil([&] { return sheet->isVisible(); }));
    sheet->reject();
}

} // namespace
