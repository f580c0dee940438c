// SPDX-License-Identifier: LGPL-2.1-or-later
// An exam's answer sheet as the client shows it: pictures attached from a phone (its page opens
// in a second window here), local files, the cloud disk or the screen, shrunk and uploaded one by
// one with the progress on the page; answer pictures edited and uploaded in the background with
// their states; a switch that makes the server fail.
#include "../demopage.h"
#include "../demoservices.h"

#include "ExamUploadObject.h"
#include "UploadImageByQRCodeWidget.h"
#include "contactsengine.h"
#include "exambasebridge.h"
#include "fileuploadmanager.h"
#include "imagesamples.h"
#include "imexamcloudwebbride.h"
#include "imsignalobject.h"
#include "orvexamservice.h"
#include "orvsettings.h"
#include "orvtrack.h"
#include "orvwebservice.h"
#include "orvwebview.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QDir>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QTime>
#include <QTimer>
#include <QVBoxLayout>
#include <QWebEngineView>

namespace {

void append(QListWidget *list, const QString &text)
{
    list->addItem(QStringLiteral("%1  %2").arg(QTime::currentTime().toString(QStringLiteral("hh:mm:ss")), text));
    while (list->count() > 300)
        delete list->takeItem(0);
    list->scrollToBottom();
}

QListWidget *logList()
{
    auto *list = new QListWidget;
    list->setWordWrap(true);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    return list;
}

const char *const StateNames[] = {"waiting", "uploading", "uploaded", "failed"};

class ExamPage : public QWidget
{
public:
    explicit ExamPage(QWidget *parent)
        : QWidget(parent)
    {
        OrvWebService *service = DemoServices::webService();
        if (!service) {
            auto *layout = new QVBoxLayout(this);
            layout->addWidget(new QLabel(QStringLiteral("The local web service could not start; see the log.")));
            return;
        }
        preparePictures();
        m_view = new OrvWebView;
        m_view->setObjectName(QStringLiteral("examView"));
        m_bridge = new ImExamCloudWebBride(m_view, m_view, WebSubWindowBridge::FromIm);
        m_view->registerObject(m_bridge, QStringLiteral("myExam"));

        auto *layout = new QHBoxLayout(this);
        layout->addWidget(m_view, 1);
        QWidget *side = buildSidePanel();
        side->setFixedWidth(360);
        layout->addWidget(side);
        followTheLibrary();
        loadSheet();
    }

    ~ExamPage() override
    {
        delete m_phone;
    }

private:
    // Pictures to pick, in a folder of the demo's own that the dialog opens in.
    void preparePictures()
    {
        const QString folder = QDir::temp().filePath(QStringLiteral("orv-demo-exam-pictures"));
        QDir().mkpath(folder);
        const struct {
            const char *name;
            QSize size;
            const char *format;
        } pictures[] = {{"answer-1.jpg", QSize(1600, 1200), "jpg"},
                        {"answer-2.jpg", QSize(4000, 3000), "jpg"},
                        {"sketch.png", QSize(900, 700), "png"}};
        quint32 seed = 11;
        for (const auto &p : pictures) {
            const QString path = QDir(folder).filePath(QString::fromLatin1(p.name));
            if (!QFileInfo::exists(path))
                ImageSamples::writeFile(path, ImageSamples::encode(ImageSamples::cameraLike(p.size, seed), p.format, 92));
            ++seed;
        }
        // A file that only looks like a picture, to see it refused.
        const QString fake = QDir(folder).filePath(QStringLiteral("not-a-picture.jpg"));
        if (!QFileInfo::exists(fake))
            ImageSamples::writeFile(fake, QByteArray("this is text"));
        OrvSettings::instance()->setValue(QLatin1String(ExamBaseBridge::UploadFolderKey), folder);
    }

    void loadSheet()
    {
        QString course;
        for (const auto &cluster : OrvEngine::ContactsEngine::instance()->getClusterInfos()) {
            if (cluster && cluster->id().type() == OrvEngine::Class) {
                course = QString::number(cluster->id().id());
                break;
            }
        }
        const QString role = m_teacher->isChecked() ? QStringLiteral("teacher") : QStringLiteral("student");
        m_view->load(DemoServices::baseUrl().resolved(
            QUrl(QStringLiteral("/client/exam/answer?id=7001&courseId=%1&role=%2").arg(course, role))));
    }

    QWidget *buildSidePanel()
    {
        auto *panel = new QWidget;
        auto *layout = new QVBoxLayout(panel);
        layout->setContentsMargins(0, 0, 0, 0);

        auto *roleBox = new QGroupBox(QStringLiteral("Who answers"));
        auto *roleLayout = new QHBoxLayout(roleBox);
        auto *student = new QRadioButton(QStringLiteral("Student"));
        m_teacher = new QRadioButton(QStringLiteral("Teacher"));
        student->setChecked(true);
        roleLayout->addWidget(student);
        roleLayout->addWidget(m_teacher);
        connect(m_teacher, &QRadioButton::toggled, this, [this] { loadSheet(); });
        layout->addWidget(roleBox);

        auto *serverBox = new QGroupBox(QStringLiteral("Server"));
        auto *serverLayout = new QVBoxLayout(serverBox);
        m_server = new QComboBox;
        m_server->setObjectName(QStringLiteral("serverBehaviour"));
        m_server->addItems({QStringLiteral("Uploads work"), QStringLiteral("Uploads fail (HTTP 500)"),
                            QStringLiteral("Uploads answer garbage"), QStringLiteral("Uploads are slow (3 s)"),
                            QStringLiteral("Uploads never answer"), QStringLiteral("Uploads are refused")});
        connect(m_server, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &ExamPage::setServer);
        serverLayout->addWidget(m_server);
        auto *serverNote = new QLabel(QStringLiteral("Applies to exam-file uploads; a request that never ends is "
                                                     "cancelled by the client after 5 minutes."));
        serverNote->setWordWrap(true);
        serverLayout->addWidget(serverNote);
        layout->addWidget(serverBox);

        auto *phoneBox = new QGroupBox(QStringLiteral("Phone"));
        auto *phoneLayout = new QVBoxLayout(phoneBox);
        m_phoneAddress = new QLabel(QStringLiteral("Attach \"Phone\" on the sheet to show a code."));
        m_phoneAddress->setWordWrap(true);
        m_phoneAddress->setTextInteractionFlags(Qt::TextSelectableByMouse);
        m_openPhone = new QPushButton(QStringLiteral("Open the phone's page in a second window"));
        m_openPhone->setObjectName(QStringLiteral("openPhonePage"));
        m_openPhone->setEnabled(false);
        connect(m_openPhone, &QPushButton::clicked, this, &ExamPage::openPhone);
        phoneLayout->addWidget(m_phoneAddress);
        phoneLayout->addWidget(m_openPhone);
        layout->addWidget(phoneBox);

        auto *uploadBox = new QGroupBox(QStringLiteral("Uploads"));
        auto *uploadLayout = new QVBoxLayout(uploadBox);
        m_uploads = logList();
        m_uploads->setObjectName(QStringLiteral("uploadLog"));
        uploadLayout->addWidget(m_uploads);
        layout->addWidget(uploadBox, 3);

        auto *editBox = new QGroupBox(QStringLiteral("Edited answer pictures"));
        auto *editLayout = new QVBoxLayout(editBox);
        m_edits = logList();
        m_edits->setObjectName(QStringLiteral("editedStates"));
        editLayout->addWidget(m_edits);
        layout->addWidget(editBox, 2);
        return panel;
    }

    void setServer(int index)
    {
        OrvWebService *service = DemoServices::webService();
        OrvExamService *exams = DemoServices::examService();
        const QString path = QString::fromLatin1(OrvExamService::ExamFilePath);
        service->clearFault(path);
        exams->setMisbehave(path, OrvExamService::Misbehave::None);
        switch (index) {
        case 1:
            service->setFault(path, OrvWebService::Fault::Status500);
            break;
        case 2:
            service->setFault(path, OrvWebService::Fault::Garbage);
            break;
        case 3:
            service->setFault(path, OrvWebService::Fault::Slow, 3000);
            break;
        case 4:
            service->setFault(path, OrvWebService::Fault::Hang);
            break;
        case 5:
            exams->setMisbehave(path, OrvExamService::Misbehave::Refuse);
            break;
        default:
            break;
        }
        append(m_uploads, QStringLiteral("server: %1").arg(m_server->itemText(index)));
    }

    void openPhone()
    {
        UploadImageByQRCodeWidget *code = m_bridge->qrCodeWidget();
        if (!code || code->qrCodeText().isEmpty())
            return;
        // The phone's browser: a plain browser window, not a page of the client.
        if (!m_phone) {
            m_phone = new QWebEngineView;
            m_phone->setObjectName(QStringLiteral("phoneBrowser"));
            m_phone->setWindowTitle(QStringLiteral("Phone"));
            m_phone->resize(390, 700);
        }
        m_phone->load(QUrl(code->qrCodeText()));
        m_phone->show();
        m_phone->raise();
        append(m_uploads, QStringLiteral("phone opens %1").arg(code->qrCodeText()));
    }

    void followTheLibrary()
    {
        // The code shows once the service answered; its address is what the phone opens.
        auto *watch = new QTimer(this);
        connect(watch, &QTimer::timeout, this, [this] {
            UploadImageByQRCodeWidget *code = m_bridge->qrCodeWidget();
            const QString text = code ? code->qrCodeText() : QString();
            if (text == m_shownCode)
                return;
            m_shownCode = text;
            m_openPhone->setEnabled(!text.isEmpty());
            m_phoneAddress->setText(text.isEmpty() ? QStringLiteral("Attach \"Phone\" on the sheet to show a code.")
                                                   : QStringLiteral("Code for %1").arg(text));
        });
        watch->start(300);

        connect(FileUploadManager::instance(), &FileUploadManager::uploadProgress, this,
                [this](const QString &taskId, qint64 sent, qint64 total) {
                    if (total <= 0)
                        return;
                    const int percent = int(sent * 100 / total);
                    // One line per tenth, not one per packet.
                    if (m_lastTask == taskId && percent / 10 == m_lastPercent / 10 && percent != 100)
                        return;
                    m_lastTask = taskId;
                    m_lastPercent = percent;
                    append(m_uploads, QStringLiteral("%1… %2% of %3 KiB").arg(taskId.left(8)).arg(percent).arg(total / 1024));
                });
        connect(OrvTrack::instance(), &OrvTrack::tracked, this, [this](const QString &event, const QVariantMap &p) {
            if (event != QLatin1String(ExamBaseBridge::UploadTrackEvent))
                return;
            append(m_uploads, QStringLiteral("%1 (%2)").arg(p.value(QStringLiteral("result")).toString(),
                                                           p.value(QStringLiteral("operation_type")).toString()));
        });
        if (ExamUploadObject *keeper = ExamUploadObject::instance()) {
            connect(keeper, &ExamUploadObject::signalCommitExamEditImgsInfo, this, [this](const QJsonObject &state) {
                for (const QJsonValue &q : state.value(QStringLiteral("questionList")).toArray()) {
                    for (const QJsonValue &i : q.toObject().value(QStringLiteral("imgList")).toArray()) {
                        const QJsonObject image = i.toObject();
                        const int status = image.value(QStringLiteral("status")).toInt();
                        append(m_edits, QStringLiteral("%1 / %2: %3 %4")
                                            .arg(q.toObject().value(QStringLiteral("questionId")).toString(),
                                                 image.value(QStringLiteral("imageKey")).toString(),
                                                 QString::fromLatin1(status >= 0 && status < 4 ? StateNames[status] : "?"),
                                                 image.value(QStringLiteral("imgUrl")).toString().left(90)));
                    }
                }
            });
        }
    }

    OrvWebView *m_view = nullptr;
    ImExamCloudWebBride *m_bridge = nullptr;
    QRadioButton *m_teacher = nullptr;
    QComboBox *m_server = nullptr;
    QLabel *m_phoneAddress = nullptr;
    QPushButton *m_openPhone = nullptr;
    QListWidget *m_uploads = nullptr;
    QListWidget *m_edits = nullptr;
    QPointer<QWebEngineView> m_phone;
    QString m_shownCode;
    QString m_lastTask;
    int m_lastPercent = -1;
};

DemoPageRegistrar registrar(QStringLiteral("exam"), QStringLiteral("Exam answers"), 35,
                            [](QWidget *parent) { return new ExamPage(parent); });

} // namespace
