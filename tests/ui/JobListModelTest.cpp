#include "UiFixture.h"

#include "models/JobListModel.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

using namespace vantor;
using ui::JobListModel;

namespace {

class JobListModelTest : public test::UiTest {
public:
    QStringList rows(const JobListModel &model)
    {
        QStringList out;
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex index = model.index(row);
            out << index.data().toString() + u' ' + index.data(JobListModel::StatusLabelRole).toString();
        }
        return out;
    }
    QStringList jobs()
    {
        QStringList out;
        for (const MediaJob &job : queue().state().jobs)
            out << job.source.section(u'/', -1) + u' ' + job.status.rawValue();
        return out;
    }
    QUuid id(const QString &name)
    {
        for (const MediaJob &job : queue().state().jobs) {
            if (job.source.endsWith(u'/' + name))
                return job.id;
        }
        return {};
    }
};

// Whatever the queue does, the model shows the same jobs in the same order and stays a valid
// model throughout.
TEST_F(JobListModelTest, FollowsEveryQueueChange)
{
    open();
    JobListModel model(queue());
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    const std::vector<std::pair<const char *, std::function<void()>>> steps = {
        {"enqueue", [&] { enqueue({"a.MOV", "b.MOV", "c.MOV"}); }},
        {"move two places", [&] { queue().moveWaiting(id("c.MOV"), -2); }},
        {"move one place", [&] { queue().moveWaiting(id("c.MOV"), 1); }},
        {"remove the middle", [&] { queue().remove(id("c.MOV")); }},
        {"enqueue more", [&] { enqueue({"fail.MOV", "d.MOV"}); }},
        {"cancel one", [&] { queue().cancel(id("d.MOV")); }},
        {"run", [&] {
             queue().start();
             ASSERT_TRUE(waitUntil([&] { return !queue().running(); }));
         }},
        {"retry failed", [&] { queue().retryFailed(); }},
        {"remove completed", [&] { queue().removeCompleted(); }},
        {"remove the rest", [&] { queue().remove(id("fail.MOV")); }},
    };
    for (const auto &[name, step] : steps) {
        SCOPED_TRACE(name);
        step();
        EXPECT_TRUE(waitUntil([&] { return rows(model) == jobs(); })) << rows(model).join(u',').toStdString();
    }
    EXPECT_EQ(model.rowCount(), 0);
}

// A progress report of the running job repaints its row and nothing else.
TEST_F(JobListModelTest, ProgressChangesOnlyTheRunningRow)
{
    open();
    JobListModel model(queue());
    enqueue({"a.MOV", "wait.MOV", "c.MOV"});
    queue().start();
    ASSERT_TRUE(waitUntil([&] { return queue().state().jobs[1].status == JobStatus::copying; }));
    ASSERT_TRUE(waitUntil([&] { return rows(model) == jobs(); }));
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy moved(&model, &QAbstractItemModel::rowsMoved);
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    QSignalSpy layout(&model, &QAbstractItemModel::layoutChanged);
    ASSERT_TRUE(waitUntil([&] { return changed.count() >= 3; }));
    for (const QList<QVariant> &signal : changed) {
        EXPECT_EQ(signal[0].toModelIndex().row(), 1);
        EXPECT_EQ(signal[1].toModelIndex().row(), 1);
        // Only what progress changes: the name and paths stay as they were.
        const QList<int> roles = signal[2].value<QList<int>>();
        EXPECT_TRUE(roles.contains(JobListModel::ProgressRole));
        EXPECT_FALSE(roles.contains(Qt::DisplayRole) || roles.contains(JobListModel::DestinationRole));
    }
    EXPECT_EQ(inserted.count() + removed.count() + moved.count() + reset.count() + layout.count(), 0);
}

TEST(JobListModelText, DurationsAndRemainingTime)
{
    const std::vector<std::pair<double, const char *>> durations = {
        {0, "00:00:00"}, {-3, "00:00:00"}, {59.9, "00:00:59"}, {3661, "01:01:01"}, {360000, "100:00:00"}};
    for (const auto &[seconds, text] : durations)
        EXPECT_EQ(JobListModel::duration(seconds), QLatin1String(text)) << seconds;

    struct Case {
        JobStatus status;
        double progress, elapsed;
        std::optional<double> remaining;
    };
    const std::vector<Case> cases = {
        {JobStatus::copying, 0.25, 10, 30.0},   {JobStatus::transcoding, 0.5, 8, 8.0},
        {JobStatus::copying, 0, 5, std::nullopt}, {JobStatus::waiting, 0, 0, std::nullopt},
        {JobStatus::complete, 1, 12, 0.0},      {JobStatus::failed, 0.4, 3, std::nullopt},
    };
    for (const Case &test : cases) {
        MediaJob job;
        job.status = test.status;
        job.progress = test.progress;
        job.elapsed = test.elapsed;
        EXPECT_EQ(JobListModel::remaining(job), test.remaining) << test.status.rawValue().toStdString();
    }
}

} // namespace
