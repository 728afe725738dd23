// A cancel stops the statement that runs on a store connection: it ends as error 18, "Cancelled.",
// whichever way it was run, a transaction it was in is undone, the store stays usable, and an
// interruption that is no cancel stays a database error.

#include <gtest/gtest.h>

#include <functional>

#include "common/error.h"
#include "common/log.h"
#include "store/sqlite.h"
#include "store/store.h"

namespace tb::store::test {
namespace {

// Some seconds of work when nothing stops it; a cancel must stop it at once.
constexpr const char* kLong =
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50000000) "
    "SELECT count(*) FROM n";

// The cancel flag is the process's: set for the test, cleared after it whatever happens.
class CancelFlag {
  public:
    CancelFlag() { SetCancelRequested(true); }
    ~CancelFlag() { SetCancelRequested(false); }
    CancelFlag(const CancelFlag&) = delete;
    CancelFlag& operator=(const CancelFlag&) = delete;
};

// The number and description of the error `f` raises; {0, ""} when none.
std::pair<long, std::string> Outcome(const std::function<void()>& f) {
    try {
        f();
    } catch (const Error& e) {
        return {e.number(), e.description()};
    }
    return {0, ""};
}

const std::pair<long, std::string> kCancelled{kErrCancelled, "Cancelled."};

TEST(StoreCancel, EveryWayOfRunningAStatementStopsAsTheCancelError) {
    Store s = Store::InMemory();
    CancelFlag cancel;
    EXPECT_EQ(Outcome([&] { s.QueryValue(kLong); }), kCancelled);
    EXPECT_EQ(Outcome([&] { s.Execute(kLong); }), kCancelled);
    EXPECT_EQ(Outcome([&] { s.ExecuteCount(std::string("CREATE TABLE t AS ") + kLong); }),
              kCancelled);
    EXPECT_EQ(Outcome([&] {
                  Statement st = s.Prepare(kLong);
                  st.Step();
              }),
              kCancelled);
    EXPECT_FALSE(s.TableExists("t"));
}

TEST(StoreCancel, TheStoreStaysUsableAndTheTransactionIsUndone) {
    Store s = Store::InMemory();
    s.CreateTable("Items", {{"N", ColumnType::Long()}});
    s.Execute("INSERT INTO Items VALUES (1), (2)");
    {
        CancelFlag cancel;
        EXPECT_EQ(Outcome([&] {
                      Transaction tx(s.handle());
                      s.Execute("DELETE FROM Items WHERE N = 1");
                      s.Execute(std::string("INSERT INTO Items ") + kLong);
                      tx.Commit();
                  }),
                  kCancelled);
    }
    EXPECT_EQ(s.QueryValue("SELECT group_concat(N) FROM (SELECT N FROM Items ORDER BY N)"),
              Value("1,2"));
    // Without the cancel the same kind of statement runs to its end.
    EXPECT_EQ(
        s.QueryValue(
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000) "
            "SELECT count(*) FROM n"),
        Value(100000));
    Transaction tx(s.handle());
    s.Execute("INSERT INTO Items VALUES (3)");
    tx.Commit();
    EXPECT_EQ(s.QueryValue("SELECT count(*) FROM Items"), Value(3));
}

TEST(StoreCancel, AnInterruptionThatIsNoCancelStaysADatabaseError) {
    Connection db(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    sqlite3_progress_handler(
        db.get(), 1000, [](void*) { return 1; }, nullptr);
    const auto [number, description] = Outcome([&] { QueryValue(db.get(), kLong); });
    EXPECT_EQ(number, kErrDatabase);
    EXPECT_NE(description.find("interrupt"), std::string::npos) << description;
}

TEST(StoreCancel, AConnectionMadeToStopOnCancelStops) {
    Connection db(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    StopOnCancel(db.get());
    EXPECT_EQ(QueryValue(db.get(), "SELECT 1 + 1"), Value(2));
    CancelFlag cancel;
    EXPECT_EQ(Outcome([&] { QueryValue(db.get(), kLong); }), kCancelled);
}

}  // namespace
}  // namespace tb::store::test
