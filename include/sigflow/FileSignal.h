#pragma once
// Umbrella of the file unit: the seven signal file formats, their readers and writers, and
// the file components (storage, reader, writer, browser, lists).
#include "sigflow/files/FileFormats.h"
#include "sigflow/files/FileRegistration.h"
#include "sigflow/files/FileStorage.h"
#include "sigflow/files/PeakOverview.h"
#include "sigflow/files/SignalBrowse.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"
#include "sigflow/files/SignalRead.h"
#include "sigflow/files/SignalReadList.h"
#include "sigflow/files/SignalWrite.h"
#include "sigflow/files/SignalWriteList.h"
