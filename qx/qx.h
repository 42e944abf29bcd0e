// Made by: tools/gen/umbrella.sh
#pragma once

/// @file
/// Every public header of the library, for programs that do not mind the compile time.

#include <qx/core/ComObject.h>
#include <qx/core/Comparable.h>
#include <qx/core/GUID.h>
#include <qx/core/Implements.h>
#include <qx/core/InterfaceMap.h>
#include <qx/core/ModuleCount.h>
#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/Unknown.h>
#include <qx/ipc/Semaphore.h>
#include <qx/ipc/SemaphoreR.h>
#include <qx/ipc/SharedMemory.h>
#include <qx/platform/export.h>
#include <qx/platform/files.h>
#include <qx/platform/guid.h>
#include <qx/platform/ipc.h>
#include <qx/platform/module.h>
#include <qx/platform/native.h>
#include <qx/platform/result.h>
#include <qx/platform/sync.h>
#include <qx/platform/text.h>
#include <qx/platform/types.h>
#include <qx/sync/Condition.h>
#include <qx/sync/Event.h>
#include <qx/sync/FakeMutex.h>
#include <qx/sync/Gate.h>
#include <qx/sync/LockObject.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/Object.h>
#include <qx/sync/ReaderWriterLock.h>
#include <qx/sync/Semaphore.h>
#include <qx/sync/TimedWait.h>
