#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSignalSpy>

#include "UiTest.h"
#include "ui/ConnectionFields.h"

namespace morvane::testing {
namespace {

constexpr ConnectionCaptions kCaptions{"&Server:", "",           "",          "N&T",
                                       "S&QL",     "Pass&word:", "D&atabase:"};

TEST(ConnectionFields, NameAndPasswordAreThereForTheSqlLoginAlone) {
    ConnectionFields fields(kCaptions, nullptr);
    fields.show();
    QSignalSpy changes(&fields, &ConnectionFields::LoginKindChanged);
    EXPECT_FALSE(Find<QLabel>(fields, "lblSQLUsername").isEnabled());
    PressAccessKey(fields, 'q');
    ASSERT_TRUE(QTest::qWaitFor([&] { return changes.count() == 1; }));
    Type(fields, "txtSQLUsername", "sa");
    Type(fields, "txtSQLPassword", " x ");
    EXPECT_EQ(fields.Login(), (ServerLogin{"(local)", false, "sa", " x "}));
    Click(fields, "optSQLLogin");  // chosen already: nothing changes
    EXPECT_EQ(changes.count(), 1);
    Click(fields, "optSecureLogin");
    EXPECT_EQ(changes.count(), 2);
    EXPECT_TRUE(fields.Login().NTAuthentication);
    EXPECT_FALSE(Find<QLineEdit>(fields, "txtSQLPassword").isEnabled());
}

TEST(ConnectionFields, ARuledOutSecureLoginLeavesTheSqlLogin) {
    ConnectionFields fields(kCaptions, nullptr);
    fields.RuleOutSecureLogin();
    fields.SetLogin({"dw01", true, "", ""});
    EXPECT_FALSE(Find<QRadioButton>(fields, "optSecureLogin").isEnabled());
    EXPECT_TRUE(fields.Login().NTAuthentication);
    fields.RuleOutSecureLogin();
    EXPECT_FALSE(fields.Login().NTAuthentication);
}

TEST(ConnectionFields, TheRememberedDatabaseIsChosenOnlyWhenItIsThere) {
    ConnectionFields fields(kCaptions, nullptr);
    QSignalSpy chosen(&fields, &ConnectionFields::DatabaseChosen);
    fields.SetDatabases({"a", "dw"}, "dw");
    EXPECT_EQ(fields.Database(), "dw");
    EXPECT_EQ(chosen.count(), 1);
    fields.SetDatabases({"a", "DW"}, "dw");
    EXPECT_EQ(fields.Database(), "");
    fields.SetDatabase("");
    EXPECT_EQ(fields.Database(), "");
}

}  // namespace
}  // namespace morvane::testing
