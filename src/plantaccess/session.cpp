#include "plantaccess/session.h"

namespace tb::plantaccess {

namespace {

struct SessionState {
    PlantSettings settings;
    ConnectionPtr connection;
    std::string databasePath;
    std::string projectName;
    std::string lastSql;
    bool useCopyPlantDatabase = false;
};

SessionState& State() {
    static SessionState state;
    return state;
}

}  // namespace

PlantSettings& Settings() {
    return State().settings;
}

bool IsOracle() {
    return UsesOracleTexts(State().settings.dialect);
}

Dialect CurrentDialect() {
    return State().useCopyPlantDatabase ? Dialect::AccessCopy : State().settings.dialect;
}

void SetSessionConnection(ConnectionPtr connection, std::string path) {
    State().connection = std::move(connection);
    State().databasePath = std::move(path);
}

const ConnectionPtr& GetSessionConnection() {
    return State().connection;
}
const std::string& SessionDatabasePath() {
    return State().databasePath;
}
const std::string& SessionProjectName() {
    return State().projectName;
}
void SetSessionProjectName(std::string name) {
    State().projectName = std::move(name);
}
const std::string& SessionLastSql() {
    return State().lastSql;
}
void SetSessionLastSql(std::string sql) {
    State().lastSql = std::move(sql);
}
bool UseCopyPlantDatabase() {
    return State().useCopyPlantDatabase;
}
void SetUseCopyPlantDatabase(bool value) {
    State().useCopyPlantDatabase = value;
}

void ResetSession() {
    State() = SessionState{};
}

}  // namespace tb::plantaccess
