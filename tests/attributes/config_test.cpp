#include <gtest/gtest.h>

#include <cstdlib>

#include "attributes/categories.h"
#include "attributes/config_file.h"
#include "common/error.h"
#include "common/ini.h"
#include "common/text.h"
#include "shell/settings.h"
#include "support/test_support.h"

namespace tb::attributes {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::TempDir;
using test::WriteFile;

// Each test has its own application folder and user configuration folder.
class ConfigTest : public ::testing::Test {
  protected:
    void SetUp() override {
        setenv("TARNBROOK_HOME", (dir / "app").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (dir / "xdg").c_str(), 1);
        fs::create_directories(dir / "app" / "config");
        shell::ResetSettingsForTests();
        shell::SetUserConfigFile(dir / "user" / "config.ini");
        fs::create_directories(dir / "user");
    }
    void TearDown() override {
        shell::ResetSettingsForTests();
        unsetenv("TARNBROOK_HOME");
    }
    fs::path Project(const std::string& name) { return dir / "user" / (name + ".ini"); }
    TempDir dir;
};

TEST(Categories, ListAndTables) {
    TempDir dir;
    setenv("TARNBROOK_HOME", dir.path().c_str(), 1);
    struct Case {
        std::string ini;
        bool withDrawings;
        std::string expected;
    } cases[] = {
        {"", false, "InlineComp_Prun,Eqp_Nozzle,Plantitems,Instruments,ItemNotes,OPCs"},
        {"", true, "Drawings,InlineComp_Prun,Eqp_Nozzle,Plantitems,Instruments,ItemNotes,OPCs"},
        // Duct runs need the switch and a client above 07.00, compared as text.
        {"[Settings]\r\nDuctRuns=1\r\n", false,
         "InlineComp_Prun,Eqp_Nozzle,Plantitems,Instruments,ItemNotes,OPCs"},
        {"[Settings]\r\nDuctRuns=1\r\nPIDVersion=07.00\r\n", false,
         "InlineComp_Prun,Eqp_Nozzle,Plantitems,Instruments,ItemNotes,OPCs"},
        {"[Settings]\r\nDuctRuns=1\r\nPIDVersion=07.00.01\r\n", true,
         "Drawings,DuctRuns,InlineComp_Prun,Eqp_Nozzle,Plantitems,Instruments,ItemNotes,OPCs"},
        {"[Settings]\r\nDuctRuns=0\r\nPIDVersion=10.00\r\n", false,
         "InlineComp_Prun,Eqp_Nozzle,Plantitems,Instruments,ItemNotes,OPCs"},
    };
    for (const auto& c : cases) {
        WriteFile(dir / "tarnbrook.ini", c.ini);
        EXPECT_EQ(Join(GetCategoryList(c.withDrawings), ","), c.expected) << c.ini;
    }
    unsetenv("TARNBROOK_HOME");

    EXPECT_EQ(Join(GetCategoryTables("Plantitems", true), ","),
              "T_ModelItem,T_PlantGroup,T_Status,T_Symbol,T_PlantItem");
    EXPECT_EQ(Join(GetCategoryTables("plantitems", false), ","),
              "T_ModelItem,T_PlantGroup,T_Status,T_Symbol");
    EXPECT_EQ(Join(GetCategoryTables("InlineComp_Prun", true), ","),
              "T_PipeRun,T_PipingComp,T_InlineComp,T_Instrument,T_ModelItem,T_PlantGroup,T_Status,"
              "T_PipingPoint,T_PlantItem,T_InstrFunction");
    EXPECT_EQ(Join(GetCategoryTables("ItemNotes", true), ","),
              "T_Note,T_ModelItem,T_Symbol,T_Status");
    EXPECT_EQ(Join(GetCategoryTables("Others", true), ","), "T_Drawing");
    EXPECT_TRUE(GetCategoryTables("Nothing", true).empty());
}

TEST(Categories, CaseKeys) {
    struct Case {
        const char* key;
        bool process;  // ParseCaseProcessKey, else ParseCaseKey
        bool valid;
        int caseType, quality;
        const char* column;
    } cases[] = {
        {"ProcessDesign_Max_Temperature_Piperun", true, true, 1, 2, "Temperature"},
        {"processdesign_min_Pressure", true, true, 1, 1, "Pressure"},
        {"ProcessDesignTube_Norm_Flow_Rate_Equipment", true, true, 11, 3, "Flow_Rate"},
        {"ProcessAlternateOperatingTube_Base_X_Instrument", true, true, 14, 4, "X"},
        {"ProcessTest_Max_Pressure_Ductrun", true, true, 6, 2, "Pressure"},
        {"ControlCase_Max_SetPoint", true, true, 5, 2, "SetPoint"},
        {"ProcessDesign_Temperature", true, false, 0, 0, ""},  // no quality
        {"ItemTag", true, false, 0, 0, ""},
        {"ControlCase_SetPoint_Instrument", false, true, 5, 0, "SetPoint"},
        {"ControlCase_Set_Point", false, true, 5, 0, "Set_Point"},
        {"ControlCase", false, false, 0, 0, ""},
        {"Description", false, false, 0, 0, ""},
    };
    for (const auto& c : cases) {
        const auto key = c.process ? ParseCaseProcessKey(c.key) : ParseCaseKey(c.key);
        ASSERT_EQ(key.has_value(), c.valid) << c.key;
        if (!key) continue;
        EXPECT_EQ(key->caseType, c.caseType) << c.key;
        EXPECT_EQ(key->quality, c.quality) << c.key;
        EXPECT_EQ(key->column, c.column) << c.key;
    }
}

TEST_F(ConfigTest, SectionKeysKeepOrderAndCase) {
    WriteFile(Project("P"),
              "[Plantitems]\r\nt_plantitem.ItemTag=\r\nT_ModelItem.Description=\r\n"
              "[Empty]\r\n");
    EXPECT_EQ(GetIniSectionKeys(Project("P"), "PLANTITEMS"),
              (std::vector<std::string>{"t_plantitem.ItemTag", "T_ModelItem.Description"}));
    EXPECT_EQ(GetIniSectionKeys(Project("P"), "Empty"), std::vector<std::string>{""});
    EXPECT_EQ(GetIniSectionKeys(Project("P"), "Missing"), std::vector<std::string>{""});
    EXPECT_TRUE(GetIniSectionKeys(dir / "user", "Plantitems").empty());  // a folder: unreadable
    EXPECT_EQ(GetProjectIniPath("P"), Project("P"));
    shell::SetCurrentPlantName("Current");
    EXPECT_EQ(GetProjectIniPath(""), Project("Current"));
}

TEST_F(ConfigTest, SaveAttributesLimitAndNozzleRule) {
    WriteFile(Project("P"), "[General]\r\nAllLoops=1\r\n[Eqp_Nozzle]\r\nold.Key=\r\n");
    const std::vector<std::string> keys = {"t_plantitem.ItemTag_Equipment",
                                           "t_plantitem.ItemTag_Nozzle", "T_Nozzle.NominalDiameter",
                                           "t_modelitem.Description_NOZZLE", "Others.MultiRep"};
    SaveAttributes2Ini("P", "Eqp_Nozzle", keys);
    EXPECT_EQ(ReadFile(Project("P")),
              "[General]\r\nAllLoops=1\r\n\r\n[Eqp_Nozzle]\r\nt_plantitem.ItemTag_Equipment=\r\n"
              "t_plantitem.ItemTag_Nozzle=\r\nT_Nozzle.SP_ID=\r\nT_Nozzle.NominalDiameter=\r\n"
              "t_modelitem.Description_NOZZLE=\r\nOthers.MultiRep=\r\n");
    EXPECT_EQ(IniRead(shell::GetUserConfigFile(), "General", "LastAttConfigProject"), "P");

    // Other categories never get the nozzle id.
    SaveAttributes2Ini("P", "Plantitems", {"t_plantitem.ItemTag_Nozzle"});
    EXPECT_EQ(GetIniSectionKeys(Project("P"), "Plantitems"),
              std::vector<std::string>{"t_plantitem.ItemTag_Nozzle"});

    // 229 attributes are saved; 230 are refused and the old section stays.
    std::vector<std::string> many;
    for (int i = 0; i < 229; ++i) many.push_back("t_x.C" + std::to_string(i));
    SaveAttributes2Ini("P", "Instruments", many);
    EXPECT_EQ(GetIniSectionKeys(Project("P"), "Instruments").size(), 229u);
    many.push_back("t_x.C229");
    try {
        SaveAttributes2Ini("P", "Instruments", many);
        FAIL();
    } catch (const Error& e) {
        EXPECT_EQ(e.description(),
                  "The configured attributes are more than 230. It is not allowed.");
        EXPECT_EQ(e.source(), "SaveAttributes2Ini");
    }
    EXPECT_EQ(GetIniSectionKeys(Project("P"), "Instruments").size(), 229u);
}

TEST_F(ConfigTest, InitProjectConfigSources) {
    WriteFile(
        dir / "app" / "config" / "default",
        "[PlantA_Plantitems]\r\nt_plantitem.ItemTag=\r\n[PlantA_Drawings]\r\nt_drawing.Name=\r\n"
        "[Other]\r\nx=\r\n[PlantA_Labels]\r\nPiping=Line Number.sym\r\n");
    const fs::path user = shell::GetUserConfigFile();
    struct Case {
        const char* what;
        std::string existing;     // the project's file before, empty: none
        std::string lastProject;  // "LastProject" in the user file
        std::string lastFile;     // content of that project's file
        std::string expected;
    } cases[] = {
        {"configured already", "[OPCs]\r\n", "", "", "[OPCs]\r\n\r\n[General]\r\nAllLoops=0\r\n"},
        {"defaults", "", "", "",
         "[General]\r\nAllLoops=0\r\n\r\n[Drawings]\r\nt_drawing.Name=\r\n\r\n[Plantitems]\r\n"
         "t_plantitem.ItemTag=\r\n\r\n[Labels]\r\nPiping=Line Number.sym\r\n"},
        {"copy of the last plant", "[General]\r\nAllLoops=1\r\n", "Last",
         "[ItemNotes]\r\nT_Note.Note=\r\n", "[ItemNotes]\r\nT_Note.Note=\r\n"},
        {"last plant without a file", "", "Gone", "",
         "[General]\r\nAllLoops=0\r\n\r\n[Drawings]\r\nt_drawing.Name=\r\n\r\n[Plantitems]\r\n"
         "t_plantitem.ItemTag=\r\n\r\n[Labels]\r\nPiping=Line Number.sym\r\n"},
    };
    for (const auto& c : cases) {
        fs::remove(Project("P"));
        if (!c.existing.empty()) WriteFile(Project("P"), c.existing);
        IniWrite(user, "General", std::string("LastProject"), c.lastProject);
        if (!c.lastFile.empty()) WriteFile(Project(c.lastProject), c.lastFile);
        InitProjectConfig("P");
        EXPECT_EQ(ReadFile(Project("P")), c.expected) << c.what;
    }
}

TEST_F(ConfigTest, WindowsFileReadsTheSame) {
    // CR LF and code page 1252 as the Windows product writes them.
    WriteFile(Project("W"),
              "[Plantitems]\r\nt_plantitem.Stra\xDF"
              "e=\r\nT_ModelItem.Desc=\r\n");
    EXPECT_EQ(GetIniSectionKeys(Project("W"), "Plantitems"),
              (std::vector<std::string>{"t_plantitem.Stra\xC3\x9F"
                                        "e",
                                        "T_ModelItem.Desc"}));
    SaveAttributes2Ini("W", "Drawings", {"t_drawing.Name"});
    const std::string bytes = ReadFile(Project("W"));
    EXPECT_NE(bytes.find("Stra\xDF"
                         "e="),
              std::string::npos);  // still code page 1252
}

TEST_F(ConfigTest, ColourFile) {
    for (const auto& [word, value] :
         std::vector<std::pair<std::string, std::uint32_t>>{{"RED", 255},
                                                            {"cyan", 16776960},
                                                            {"Green", 65280},
                                                            {"magenta", 16711935},
                                                            {"yellow", 65535},
                                                            {"blue", 16711680},
                                                            {"orange", 16711680}})
        EXPECT_EQ(ColorOfWord(word), value) << word;
    EXPECT_EQ(ReadAttributeColors().color, 16711680u);  // no file: blue, nothing marked
    EXPECT_TRUE(ReadAttributeColors().keys.empty());
    WriteFile(dir / "app" / "config" / "AttributeColor.ini",
              "[General]\r\nColor=Red\r\n[T_PlantItem]\r\nItemTag=\r\n[T_PipingPoint]\r\n"
              "end_1_Description=\r\n_2_Size=\r\n");
    const auto colors = ReadAttributeColors();
    EXPECT_EQ(colors.color, 255u);
    EXPECT_EQ(colors.keys,
              (std::set<std::string>{"t_plantitem.itemtag", "t_pipingpoint._1_description",
                                     "t_pipingpoint._2_size"}));
}

}  // namespace
}  // namespace tb::attributes
