#pragma once

#include "windowfixture.h"

#include <QLabel>
#include <QTest>

using LabWindow = WindowFixture;
