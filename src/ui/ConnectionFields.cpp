// SPDX-License-Identifier: Apache-2.0
#include "ui/ConnectionFields.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QSignalBlocker>
#include <QStyle>
#include <QVBoxLayout>

namespace morvane {

namespace {

constexpr const char* kRefreshTip = "Refresh the list of available databases";
constexpr const char* kDatabaseTip = "Select the Data Warehouse database";

}  // namespace

ConnectionFields::ConnectionFields(const ConnectionCaptions& captions, QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setColumnStretch(1, 1);

    txtServer_ = Named("txtServer", new QLineEdit("(local)", this));
    txtServer_->setToolTip(captions.ServerTip);
    cmdServer_ = Named("cmdServer", new PushButton("&Browse...", this));
    cmdServer_->setToolTip(captions.BrowseTip);
    layout->addWidget(MakeLabel("lblServer", captions.Server, txtServer_, this), 0, 0);
    layout->addWidget(txtServer_, 0, 1);
    layout->addWidget(cmdServer_, 0, 2);

    layout->addWidget(MakeAuthentication(captions), 1, 0, 1, 3);

    cboDB_ = Named("cboDB", new DropDownList(this));
    cboDB_->setToolTip(kDatabaseTip);
    cmdDBRefresh_ = Named("cmdDBRefresh", new PushButton("&Refresh", this));
    cmdDBRefresh_->setToolTip(kRefreshTip);
    layout->addWidget(MakeLabel("lblDB", captions.Database, cboDB_, this), 2, 0);
    layout->addWidget(cboDB_, 2, 1);
    layout->addWidget(cmdDBRefresh_, 2, 2);

    connect(txtServer_, &QLineEdit::textChanged, this, &ConnectionFields::ServerChanged);
    connect(txtSQLUsername_, &QLineEdit::textChanged, this, &ConnectionFields::CredentialsChanged);
    connect(txtSQLPassword_, &QLineEdit::textChanged, this, &ConnectionFields::CredentialsChanged);
    connect(optSecureLogin_, &QRadioButton::toggled, this, &ConnectionFields::ApplyLoginKind);
    connect(cmdServer_, &QPushButton::clicked, this, &ConnectionFields::BrowseAsked);
    connect(cmdDBRefresh_, &QPushButton::clicked, this, &ConnectionFields::RefreshAsked);
    connect(cboDB_, &DropDownList::DropDown, this, &ConnectionFields::RefreshAsked);
    connect(cboDB_, &QComboBox::currentIndexChanged, this, &ConnectionFields::DatabaseChosen);
}

QWidget* ConnectionFields::MakeAuthentication(const ConnectionCaptions& captions) {
    auto* frame = Named("fraAuthentication", new QGroupBox("Authentication", this));
    optSecureLogin_ = Named("optSecureLogin", new QRadioButton(captions.SecureLogin, frame));
    optSecureLogin_->setToolTip("Choose when you want to use a trusted connection");
    optSQLLogin_ = Named("optSQLLogin", new QRadioButton(captions.SQLLogin, frame));
    optSQLLogin_->setToolTip("Choose when you want to use a named SQL login");
    txtSQLUsername_ = Named("txtSQLUsername", new QLineEdit(frame));
    txtSQLPassword_ = Named("txtSQLPassword", new QLineEdit(frame));
    txtSQLPassword_->setEchoMode(QLineEdit::Password);
    lblSQLUsername_ = MakeLabel("lblSQLUsername", "&User Name:", txtSQLUsername_, frame);
    lblSQLPassword_ = MakeLabel("lblSQLPassword", captions.Password, txtSQLPassword_, frame);

    auto* layout = new QGridLayout(frame);
    // Indents the login's fields to the text of their option.
    layout->setColumnMinimumWidth(0, style()->pixelMetric(QStyle::PM_ExclusiveIndicatorWidth) +
                                         style()->pixelMetric(QStyle::PM_RadioButtonLabelSpacing));
    layout->setColumnStretch(2, 1);
    layout->addWidget(optSecureLogin_, 0, 0, 1, 3);
    layout->addWidget(optSQLLogin_, 1, 0, 1, 3);
    layout->addWidget(lblSQLUsername_, 2, 1);
    layout->addWidget(txtSQLUsername_, 2, 2);
    layout->addWidget(lblSQLPassword_, 3, 1);
    layout->addWidget(txtSQLPassword_, 3, 2);
    optSecureLogin_->setChecked(true);
    ApplyLoginKind(true);
    return frame;
}

void ConnectionFields::ApplyLoginKind(bool secure) {
    const bool changes = lblSQLUsername_->isEnabled() == secure;
    for (QWidget* label :
         {static_cast<QWidget*>(lblSQLUsername_), static_cast<QWidget*>(lblSQLPassword_)}) {
        label->setEnabled(!secure);
    }
    for (QWidget* field :
         {static_cast<QWidget*>(txtSQLUsername_), static_cast<QWidget*>(txtSQLPassword_)}) {
        secure ? DisableObject(*field) : EnableObject(*field);
    }
    if (changes) {
        emit LoginKindChanged();
    }
}

ServerLogin ConnectionFields::Login() const {
    return {ToText(txtServer_->text()), optSecureLogin_->isChecked(),
            ToText(txtSQLUsername_->text()), ToText(txtSQLPassword_->text())};
}

void ConnectionFields::SetLogin(const ServerLogin& login) {
    SetServer(ToQString(login.Server));
    (login.NTAuthentication ? optSecureLogin_ : optSQLLogin_)->setChecked(true);
    if (!login.NTAuthentication) {
        txtSQLUsername_->setText(ToQString(login.UserName));
        txtSQLPassword_->setText(ToQString(login.Password));
    }
}

void ConnectionFields::SetServer(const QString& server) {
    txtServer_->setText(server);
}

void ConnectionFields::RuleOutSecureLogin() {
    optSQLLogin_->setChecked(true);
    optSecureLogin_->setEnabled(false);
}

std::string ConnectionFields::Database() const {
    return ToText(cboDB_->currentText());
}

void ConnectionFields::SetDatabase(const std::string& name) {
    SetDatabases(name.empty() ? std::vector<std::string>{} : std::vector{name}, name);
}

void ConnectionFields::ClearDatabases() {
    SetDatabases({}, "");
}

void ConnectionFields::SetDatabases(const std::vector<std::string>& names,
                                    const std::string& remembered) {
    {
        const QSignalBlocker quiet(cboDB_);  // emits only one DatabaseChosen()
        cboDB_->clear();
        for (const std::string& name : names) {
            cboDB_->addItem(ToQString(name));
        }
        cboDB_->setCurrentIndex(
            cboDB_->findText(ToQString(remembered), Qt::MatchExactly | Qt::MatchCaseSensitive));
    }
    emit DatabaseChosen();
}

}  // namespace morvane
