// The GIMP plug-in's settings file of last runs.

#include <gtest/gtest.h>
#include <QFile>
#include <QTemporaryDir>

#include "LastValues.h"

TEST(LastValuesTest, KeepsEachKindApartAndSurvivesABrokenFile) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("deep/folder/last.json"));
    const LastValues values(path);
    LastValues::Run run;
    EXPECT_FALSE(values.read(LastValues::Kind::Effect, run));

    ASSERT_TRUE(values.write(LastValues::Kind::Effect,
                             {QStringLiteral("CIGaussianBlur"), QStringLiteral("{\"r\": 1}")},
                             nullptr));
    ASSERT_TRUE(values.write(LastValues::Kind::Generator,
                             {QStringLiteral("GLIF_Plasma"), QStringLiteral("{\"s\": 2}")},
                             nullptr));
    // A second program (the next GIMP session) reads what the first wrote.
    ASSERT_TRUE(LastValues(path).read(LastValues::Kind::Effect, run));
    EXPECT_EQ(run.identifier, QStringLiteral("CIGaussianBlur"));
    EXPECT_EQ(run.parameters, QStringLiteral("{\"r\": 1}"));
    ASSERT_TRUE(LastValues(path).read(LastValues::Kind::Generator, run));
    EXPECT_EQ(run.identifier, QStringLiteral("GLIF_Plasma"));

    // A run in the editor replaces the scripted one: it is repeated by the
    // editor, never by an older script's effect.
    ASSERT_TRUE(values.write(LastValues::Kind::Effect, {}, nullptr));
    ASSERT_TRUE(values.read(LastValues::Kind::Effect, run));
    EXPECT_TRUE(run.identifier.isEmpty());

    // A damaged file reads as no last run, and the next write replaces it.
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{\"effect\": [not json");
    file.close();
    EXPECT_FALSE(values.read(LastValues::Kind::Effect, run));
    ASSERT_TRUE(values.write(LastValues::Kind::Generator,
                             {QStringLiteral("GLIF_Spiral"), QStringLiteral("{}")}, nullptr));
    ASSERT_TRUE(values.read(LastValues::Kind::Generator, run));
    EXPECT_EQ(run.identifier, QStringLiteral("GLIF_Spiral"));
}
