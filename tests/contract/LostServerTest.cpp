// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <chrono>

#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "contract/Backend.h"
#include "contract/LoopbackProxy.h"
#include "contract/ScopedVariable.h"
#include "contract/UnattendedRun.h"
#include "db/odbc/OdbcStatement.h"
#include "support/TempFolder.h"

namespace morvane::testing {
namespace {

using Fault = LoopbackProxy::Fault;

// A run of all tasks that loses its server at one point.
struct LossPoint {
    const char* Name;
    Fault Kind;
    std::function<LoopbackProxy::Trigger()> When;
    bool Atomic = false;
    // The customers' transaction was ended before, or it is not known whether it was.
    bool CustomersMayBeGone = false;
    // Nothing is missing in the end: the lock is released on another connection.
    bool Completes = false;
};

void PrintTo(const LossPoint& point, std::ostream* stream) {
    *stream << point.Name;
}

constexpr const char* kMark = "UPDATE customer SET is_deletable = 1";
constexpr const char* kReport = "WHERE is_deletable=1 ORDER BY";
constexpr const char* kRelink = "UPDATE customer SET end_date";
constexpr const char* kDelete = "DELETE FROM customer WHERE is_deletable = 1";
constexpr const char* kDeleteElement = "DELETE FROM customer WHERE customer_id";
constexpr const char* kRelease = "SET lock = 0";

std::function<LoopbackProxy::Trigger()> At(const char* text) {
    return [text] { return SendsText(text); };
}

std::vector<LossPoint> AllLossPoints() {
    const auto commit = [] { return CommitsAfter(kDelete); };
    return {
        {"AtTheCheck", Fault::CutRequest, At("dwm_star_relations")},
        {"InMarking", Fault::CutRequest, At(kMark)},
        {"InTheAnswerToMarking", Fault::CutAnswer, At(kMark)},
        {"InAReport", Fault::CutRequest, At(kReport)},
        {"InTheRowsOfAReport", Fault::CutAnswer, At(kReport)},
        {"AtTheSecondLogin", Fault::CutRequest, [] { return LogsIn(2); }},
        {"InRelinking", Fault::CutRequest, At(kRelink)},
        {"InDeletion", Fault::CutAnswer, At(kDelete)},
        {"InAtomicDeletion", Fault::CutAnswer, At(kDeleteElement), true},
        {"AtCommit", Fault::CutRequest, commit},
        {"InTheAnswerToCommit", Fault::CutAnswer, commit, false, true},
        {"AtTheLocksRelease", Fault::CutRequest, At(kRelease), false, true},
        {"OneConnectionInMarking", Fault::CutConnection, At(kMark)},
        {"OneConnectionInDeletion", Fault::CutConnection, At(kDelete)},
        {"OneConnectionAtTheLocksRelease", Fault::CutConnection, At(kRelease), false, true, true},
        {"StalledInMarking", Fault::Stall, At(kMark)},
        {"StalledInRelinking", Fault::Stall, At(kRelink)},
        {"StalledAtCommit", Fault::Stall, commit},
        {"StalledAtTheLocksRelease", Fault::Stall, At(kRelease), false, true},
        {"CorruptInAReport", Fault::Corrupt, At(kReport)},
        {"CorruptInDeletion", Fault::Corrupt, At(kDelete)},
        {"CorruptHeadersInDeletion", Fault::CorruptHeaders, At(kDelete)},
        {"CorruptAtCommit", Fault::Corrupt, commit, false, true},
    };
}

void MakeStar(Connection& connection) {
    for (const char* sql : {
             "create table dwm_tables(table_name varchar(128), table_type varchar(20),"
             " where_clause varchar(8000), is_selected bit)",
             "create table dwm_star_relations(selected bit, foreign_table varchar(128),"
             " foreign_columns varchar(1000), primary_table varchar(128),"
             " primary_columns varchar(1000), slow_moving_dim bit,"
             " original_primary_key varchar(1000))",
             "create table product(product_id int primary key, name varchar(40),"
             " is_sustainable bit default 0, is_deletable bit default 0)",
             "create table customer(customer_key int primary key, customer_id int,"
             " town varchar(40), is_sustainable bit default 0, is_deletable bit default 0,"
             " start_date datetime, end_date datetime, is_current bit)",
             "create table sales(product_id int, customer_key int, amount int)",
             "create index ix_sales on sales(product_id)",
             "insert into dwm_tables values ('product','DIMENSION',null,1),"
             "('customer','DIMENSION',null,1),('sales','FACT','amount > 5',1)",
             "insert into dwm_star_relations values"
             " (1,'sales','product_id','product','product_id',0,'product_id'),"
             "(1,'sales','customer_key','customer','customer_key',1,'customer_id')",
             "insert into product(product_id, name) values (1,'pen'),(2,'ink'),(3,'cap'),(4,'nib')",
             "insert into customer(customer_key, customer_id, town, start_date, end_date,"
             " is_current) values (1,7,'Ulm','2020-01-01','2021-01-01',0),"
             "(2,7,'Bonn','2021-01-01','2022-01-01',0),(3,7,'Kiel','2022-01-01','2023-01-01',0),"
             "(4,7,'Trier','2023-01-01',null,1),(5,8,'Jena','2020-01-01',null,1),"
             "(6,9,'Hof','2020-01-01','2021-01-01',0),(7,9,'Gera','2021-01-01',null,1)",
             "insert into sales values (1,1,10),(3,3,2)",
         }) {
        connection.Execute(sql);
    }
}

std::string Rows(Connection& connection, const std::string& sql) {
    std::string text;
    const auto rows = connection.OpenRecordset(sql);
    for (; !rows->Eof(); rows->MoveNext()) {
        for (const Field& field : rows->Fields()) {
            text += (field.Value.IsNull() ? "NULL" : field.Value.Text()) + "|";
        }
        text += "\n";
    }
    return text;
}

std::string Customers(Connection& connection) {
    return Rows(connection,
                "select customer_key, customer_id, town, start_date, end_date, is_current"
                " from customer order by customer_key");
}

std::string Products(Connection& connection) {
    return Rows(connection, "select product_id, name from product order by product_id");
}

class LostServer : public OnLiveServer<::testing::TestWithParam<LossPoint>> {
  protected:
    void Prepare() override {
        database_ = MakeLiveDatabase(server_);
        MakeStar(*database_->Open());
    }

    RunSettings Settings(const std::string& server) const {
        RunSettings settings;
        settings.Machine = server;
        settings.UserName = server_.User;
        settings.Password = server_.Password;
        settings.Database = database_->Name();
        settings.CheckMetaData = settings.DetectAndMark = true;
        settings.GenerateReports = settings.DeleteMarked = true;
        settings.AtomicDeletion = GetParam().Atomic;
        settings.LogGiven = settings.StatusMode = true;
        settings.LogDirectory = files_ / "logs";
        settings.StatusFileName = files_ / "status.txt";
        return settings;
    }

    bool Run(const std::string& server) {
        errorText_ = RunUnattended(Settings(server));
        return errorText_.empty();
    }

    std::string Log() const {
        return ReadWholeFile(files_ / "logs/Morvane_Log05-03-202414-07-09.txt");
    }

    TempFolder files_;
    std::unique_ptr<TestDatabase> database_;
    std::string errorText_;
    // The driver would encrypt the login only, but the texts must be seen by the proxy.
    ScopedVariable options_{"MORVANE_ODBC_OPTIONS", "Encryption=off"};
    // A cut needs none.
    ScopedVariable timeout_{"MORVANE_QUERY_TIMEOUT",
                            GetParam().Kind == Fault::Stall || GetParam().Kind == Fault::Corrupt ||
                                    GetParam().Kind == Fault::CorruptHeaders
                                ? "4"
                                : ""};
};

INSTANTIATE_TEST_SUITE_P(Points, LostServer, ::testing::ValuesIn(AllLossPoints()),
                         [](const auto& instance) { return instance.param.Name; });

TEST_P(LostServer, EndsTheRunWithADescriptionAndLeavesWholeTransactions) {
    const LossPoint& point = GetParam();
    const std::string customers = Customers(*database_->Open());
    const std::string products = Products(*database_->Open());
    const auto start = std::chrono::steady_clock::now();
    {
        const LoopbackProxy proxy(server_.Server, point.Kind, point.When());
        EXPECT_EQ(Run(proxy.Server()), point.Completes) << errorText_;
        ASSERT_TRUE(proxy.Fired()) << errorText_;
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    // Less than the proxy lets a connection live: nothing but a time-out has ended the wait. A
    // connection may wait twice, for the answer and for the driver's word that it gives up, and the
    // login for the lock's release its 20 s.
    EXPECT_LT(taken.count(), 45);

    EXPECT_EQ(Trim(errorText_).empty(), point.Completes);
    EXPECT_EQ(ReadWholeFile(files_ / "status.txt"), point.Completes ? "ok\r\n" : "failure\r\n");
    const std::string log = Log();
    const std::size_t described = log.find(errorText_);
    ASSERT_NE(described, std::string::npos) << log;
    EXPECT_NE(log.find("Morvane Tool stopped On", described), std::string::npos) << log;
    EXPECT_EQ(log.find(server_.Password), std::string::npos);
    const auto connection = database_->Open();
    if (point.Kind == Fault::CutConnection) {
        EXPECT_EQ(Rows(*connection, "select lock from dwm_multiuse"), "0|\n");
    }
    const std::string left = Customers(*connection);
    if (!point.CustomersMayBeGone) {
        EXPECT_EQ(left, customers);
    }
    const std::string leftProducts = Products(*connection);
    EXPECT_TRUE(leftProducts == products || leftProducts == "1|pen|\n3|cap|\n") << leftProducts;
}

TEST(QueryTimeout, WhatIsNoNumberOfSecondsIsRefused) {
    for (const char* text : {"-1", "2s", "soon", "99999999999"}) {
        const ScopedVariable timeout("MORVANE_QUERY_TIMEOUT", text);
        EXPECT_THROW(odbc::DefaultQueryTimeout(), DatabaseError) << text;
    }
    const ScopedVariable none("MORVANE_QUERY_TIMEOUT", "");
    EXPECT_EQ(odbc::DefaultQueryTimeout(), 0);
}

}  // namespace
}  // namespace morvane::testing
