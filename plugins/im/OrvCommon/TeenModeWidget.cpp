// SPDX-License-Identifier: LGPL-2.1-or-later
#include "TeenModeWidget.h"
#include "orvcommon_logging.h"
#include "orvlang.h"
#include "orvsettings.h"

#include <QComboBox>
#include <QCryptographicHash>
#include <QDateTime>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QRegularExpressionValidator>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

QLineEdit *pinEdit(const char *objectName)
{
    auto *edit = new QLineEdit;
    edit->setObjectName(QLatin1String(objectName));
    edit->setEchoMode(QLineEdit::Password);
    edit->setMaxLength(TeenModeWidget::PasswordLength);
    edit->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("\\d{0,4}")), edit));
    edit->setInputMethodHints(Qt::ImhDigitsOnly);
    edit->setPlaceholderText(OrvLang::text("ID_TeenMode_FourDigits"));
    return edit;
}

QComboBox *limitCombo(const char *objectName)
{
    auto *box = new QComboBox;
    box->setObjectName(QLatin1String(objectName));
    for (int minutes : TeenModeWidget::dailyLimits())
        box->addItem(OrvLang::format("ID_TeenMode_Minutes", {QString::number(minutes)}), minutes);
    return box;
}

} // namespace

TeenModeWidget::TeenModeWidget(QWidget *parent)
    : QWidget(parent)
    , m_pages(new QStackedWidget)
    , m_message(new QLabel)
    , m_password(pinEdit("teenPasswordEdit"))
    , m_confirm(pinEdit("teenConfirmEdit"))
    , m_limit(limitCombo("teenLimitBox"))
    , m_onStatus(new QLabel)
    , m_onLimit(limitCombo("teenOnLimitBox"))
    , m_leavePassword(pinEdit("teenLeaveEdit"))
{
    setObjectName(QStringLiteral("TeenModeWidget"));
    m_message->setObjectName(QStringLiteral("teenMessage"));
    m_message->setWordWrap(true);
    m_message->setStyleSheet(QStringLiteral("color: #E53935;"));

    // Off: what teen mode does, and the way in.
    auto *off = new QWidget;
    auto *offLayout = new QVBoxLayout(off);
    auto *offText = new QLabel(OrvLang::text("ID_TeenMode_Description"));
    offText->setWordWrap(true);
    auto *turnOnBtn = new QPushButton(OrvLang::text("ID_TeenMode_TurnOn"));
    turnOnBtn->setObjectName(QStringLiteral("teenTurnOnBtn"));
    offLayout->addWidget(offText);
    offLayout->addWidget(turnOnBtn, 0, Qt::AlignLeft);
    offLayout->addStretch(1);
    connect(turnOnBtn, &QPushButton::clicked, this, &TeenModeWidget::startSetup);

    // Set-up: the password twice and the daily limit.
    auto *setup = new QWidget;
    auto *form = new QFormLayout(setup);
    form->addRow(OrvLang::text("ID_TeenMode_SetPassword"), m_password);
    form->addRow(OrvLang::text("ID_TeenMode_ConfirmPassword"), m_confirm);
    form->addRow(OrvLang::text("ID_TeenMode_DailyLimit"), m_limit);
    auto *confirmBtn = new QPushButton(OrvLang::text("ID_OK"));
    confirmBtn->setObjectName(QStringLiteral("teenConfirmBtn"));
    auto *cancelBtn = new QPushButton(OrvLang::text("ID_Cancel"));
    auto *setupButtons = new QHBoxLayout;
    setupButtons->addStretch(1);
    setupButtons->addWidget(confirmBtn);
    setupButtons->addWidget(cancelBtn);
    form->addRow(setupButtons);
    connect(confirmBtn, &QPushButton::clicked, this,
            [this] { turnOn(m_password->text(), m_confirm->text(), m_limit->currentData().toInt()); });
    connect(cancelBtn, &QPushButton::clicked, this, &TeenModeWidget::cancel);

    // On: the state, a new limit, the way out.
    auto *on = new QWidget;
    auto *onLayout = new QVBoxLayout(on);
    m_onStatus->setObjectName(QStringLiteral("teenOnStatus"));
    auto *leaveBtn = new QPushButton(OrvLang::text("ID_TeenMode_TurnOff"));
    leaveBtn->setObjectName(QStringLiteral("teenTurnOffBtn"));
    auto *limitRow = new QHBoxLayout;
    limitRow->addWidget(new QLabel(OrvLang::text("ID_TeenMode_DailyLimit")));
    limitRow->addWidget(m_onLimit, 1);
    onLayout->addWidget(m_onStatus);
    onLayout->addLayout(limitRow);
    onLayout->addWidget(leaveBtn, 0, Qt::AlignLeft);
    onLayout->addStretch(1);
    connect(leaveBtn, &QPushButton::clicked, this, &TeenModeWidget::startLeaving);
    // A new limit is asked for with the password, on the same page as leaving.
    connect(m_onLimit, qOverload<int>(&QComboBox::activated), this, [this](int) {
        if (m_onLimit->currentData().toInt() != m_state.dailyLimitMinutes)
            startLeaving();
    });

    // Leaving (or changing the limit): the password again.
    auto *leave = new QWidget;
    auto *leaveForm = new QFormLayout(leave);
    leaveForm->addRow(OrvLang::text("ID_TeenMode_EnterPassword"), m_leavePassword);
    auto *leaveOk = new QPushButton(OrvLang::text("ID_OK"));
    leaveOk->setObjectName(QStringLiteral("teenLeaveOkBtn"));
    auto *leaveCancel = new QPushButton(OrvLang::text("ID_Cancel"));
    auto *leaveButtons = new QHBoxLayout;
    leaveButtons->addStretch(1);
    leaveButtons->addWidget(leaveOk);
    leaveButtons->addWidget(leaveCancel);
    leaveForm->addRow(leaveButtons);
    connect(leaveOk, &QPushButton::clicked, this, [this] {
        const int wanted = m_onLimit->currentData().toInt();
        if (wanted != m_state.dailyLimitMinutes)
            changeDailyLimit(m_leavePassword->text(), wanted);
        else
            turnOff(m_leavePassword->text());
    });
    connect(leaveCancel, &QPushButton::clicked, this, &TeenModeWidget::cancel);

    m_pages->addWidget(off);
    m_pages->addWidget(setup);
    m_pages->addWidget(on);
    m_pages->addWidget(leave);
    auto *title = new QLabel(OrvLang::text("ID_TeenMode_Title"));
    title->setObjectName(QStringLiteral("teenTitle"));
    QFont f = title->font();
    f.setBold(true);
    f.setPointSizeF(f.pointSizeF() * 1.3);
    title->setFont(f);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(m_pages, 1);
    layout->addWidget(m_message);

    m_state = loadState();
    if (m_state.damaged)
        setMessage(OrvLang::text("ID_TeenMode_SettingsDamaged"));
    refreshOnPage();
    showPage(m_state.enabled ? OnPage : OffPage);
}

TeenModeWidget::State TeenModeWidget::loadState()
{
    State s;
    const QVariant raw = OrvSettings::instance()->value(QLatin1String(SettingsKey));
    if (!raw.isValid() || raw.toString().isEmpty())
        return s;
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(raw.toString().toUtf8(), &error);
    const QJsonObject o = doc.object();
    const bool enabled = o.value(QStringLiteral("enabled")).toBool();
    const int limit = o.value(QStringLiteral("dailyLimitMinutes")).toInt();
    const QString salt = o.value(QStringLiteral("salt")).toString();
    const QString hash = o.value(QStringLiteral("passwordHash")).toString();
    const bool shaped = error.error == QJsonParseError::NoError && doc.isObject() && o.value(QStringLiteral("enabled")).isBool();
    const bool complete = !enabled || (dailyLimits().contains(limit) && salt.size() == 32 && hash.size() == 64);
    if (!shaped || !complete) {
        qCWarning(lcAccount) << "the stored teen-mode setting cannot be read; teen mode counts as off:"
                             << (shaped ? QStringLiteral("incomplete entry") : error.errorString());
        s.damaged = true;
        return s;
    }
    s.enabled = enabled;
    s.dailyLimitMinutes = enabled ? limit : 0;
    s.salt = salt;
    s.passwordHash = hash;
    s.failedAttempts = std::max(0, o.value(QStringLiteral("failedAttempts")).toInt());
    s.lockedUntil = qint64(o.value(QStringLiteral("lockedUntil")).toDouble());
    return s;
}

bool TeenModeWidget::isValidPassword(const QString &password)
{
    static const QRegularExpression fourDigits(QStringLiteral("^\\d{4}$"));
    return fourDigits.match(password).hasMatch();
}

QString TeenModeWidget::hashOf(const QString &salt, const QString &password)
{
    return QString::fromLatin1(QCryptographicHash::hash((salt + password).toUtf8(), QCryptographicHash::Sha256).toHex());
}

bool TeenModeWidget::checkPassword(const QString &password) const
{
    return m_state.enabled && isValidPassword(password) && hashOf(m_state.salt, password) == m_state.passwordHash;
}

bool TeenModeWidget::acceptPassword(const QString &password)
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    // A clock set back never makes the lock longer than one lock.
    const qint64 lockedUntil = std::min(m_state.lockedUntil, now + LockMs);
    if (lockedUntil > now) {
        setMessage(OrvLang::format("ID_TeenMode_Locked", {QString::number((lockedUntil - now + 59999) / 60000)}));
        return false;
    }
    if (checkPassword(password))
        return true;
    // Four digits are quickly tried out: a run of wrong ones locks the way out for a while,
    // and a restart does not lift it.
    State next = m_state;
    next.failedAttempts = m_state.failedAttempts + 1;
    if (next.failedAttempts >= MaxFailedAttempts) {
        next.failedAttempts = 0;
        next.lockedUntil = now + LockMs;
    }
    qCInfo(lcAccount) << "wrong teen-mode password, attempt" << m_state.failedAttempts + 1;
    store(next);
    m_leavePassword->clear();
    setMessage(next.lockedUntil > now ? OrvLang::format("ID_TeenMode_Locked", {QString::number(LockMs / 60000)})
                                      : OrvLang::text("ID_TeenMode_WrongPassword"));
    return false;
}

bool TeenModeWidget::store(const State &state)
{
    QJsonObject o{{QStringLiteral("enabled"), state.enabled}};
    if (state.enabled) {
        o.insert(QStringLiteral("dailyLimitMinutes"), state.dailyLimitMinutes);
        o.insert(QStringLiteral("salt"), state.salt);
        o.insert(QStringLiteral("passwordHash"), state.passwordHash);
        if (state.failedAttempts)
            o.insert(QStringLiteral("failedAttempts"), state.failedAttempts);
        if (state.lockedUntil)
            o.insert(QStringLiteral("lockedUntil"), double(state.lockedUntil));
    }
    const QString text = QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact));
    OrvSettings *settings = OrvSettings::instance();
    settings->setValue(QLatin1String(SettingsKey), text);
    settings->sync();
    // Only what the store really holds now counts.
    if (settings->value(QLatin1String(SettingsKey)).toString() != text) {
        qCWarning(lcAccount) << "the teen-mode setting could not be written";
        setMessage(OrvLang::text("ID_TeenMode_CannotSave"));
        return false;
    }
    const bool changed = state.enabled != m_state.enabled || state.dailyLimitMinutes != m_state.dailyLimitMinutes;
    m_state = state;
    refreshOnPage();
    if (changed)
        Q_EMIT teenModeChanged(state.enabled, state.dailyLimitMinutes);
    return true;
}

TeenModeWidget::Page TeenModeWidget::currentPage() const
{
    return Page(m_pages->currentIndex());
}

void TeenModeWidget::showPage(Page page)
{
    m_pages->setCurrentIndex(page);
    for (QLineEdit *e : {m_password, m_confirm, m_leavePassword})
        e->clear();
}

void TeenModeWidget::setMessage(const QString &text)
{
    m_message->setText(text);
}

QString TeenModeWidget::message() const
{
    return m_message->text();
}

void TeenModeWidget::refreshOnPage()
{
    m_onStatus->setText(OrvLang::format("ID_TeenMode_OnWithLimit", {QString::number(m_state.dailyLimitMinutes)}));
    const int i = m_onLimit->findData(m_state.dailyLimitMinutes);
    m_onLimit->setCurrentIndex(std::max(0, i));
}

void TeenModeWidget::startSetup()
{
    if (m_state.enabled)
        return;
    showPage(SetupPage);
    setMessage(QString());
    m_password->setFocus();
}

bool TeenModeWidget::turnOn(const QString &password, const QString &confirmation, int dailyLimitMinutes)
{
    if (m_state.enabled)
        return false;
    if (!isValidPassword(password)) {
        setMessage(OrvLang::text("ID_TeenMode_PasswordFourDigits"));
        return false;
    }
    if (password != confirmation) {
        // Both entries start again: the user cannot see which one was mistyped.
        m_password->clear();
        m_confirm->clear();
        setMessage(OrvLang::text("ID_TeenMode_PasswordMismatch"));
        return false;
    }
    if (!dailyLimits().contains(dailyLimitMinutes)) {
        setMessage(OrvLang::text("ID_TeenMode_PickALimit"));
        return false;
    }
    State next;
    next.enabled = true;
    next.dailyLimitMinutes = dailyLimitMinutes;
    QByteArray salt(16, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(salt.data()), salt.size() / 4);
    next.salt = QString::fromLatin1(salt.toHex());
    next.passwordHash = hashOf(next.salt, password);
    if (!store(next))
        return false;
    qCInfo(lcAccount) << "teen mode on, daily limit" << dailyLimitMinutes << "minutes";
    setMessage(QString());
    showPage(OnPage);
    return true;
}

void TeenModeWidget::startLeaving()
{
    if (!m_state.enabled)
        return;
    showPage(LeavePage);
    setMessage(QString());
    m_leavePassword->setFocus();
}

bool TeenModeWidget::turnOff(const QString &password)
{
    if (!m_state.enabled)
        return false;
    if (!acceptPassword(password))
        return false;
    if (!store(State()))
        return false;
    qCInfo(lcAccount) << "teen mode off";
    setMessage(QString());
    showPage(OffPage);
    return true;
}

bool TeenModeWidget::changeDailyLimit(const QString &password, int dailyLimitMinutes)
{
    if (!m_state.enabled || !dailyLimits().contains(dailyLimitMinutes))
        return false;
    if (!acceptPassword(password))
        return false;
    State next = m_state;
    next.dailyLimitMinutes = dailyLimitMinutes;
    next.failedAttempts = 0;
    if (!store(next))
        return false;
    setMessage(QString());
    showPage(OnPage);
    return true;
}

void TeenModeWidget::cancel()
{
    refreshOnPage();
    setMessage(QString());
    showPage(m_state.enabled ? OnPage : OffPage);
}
