#pragma once

#include "Utility/Mutex.h"

namespace System
{
using Mutex = Utility::Mutex;
using MutexLock = Utility::MutexLock;
using RecursiveMutex = Utility::RecursiveMutex;
using RecursiveMutexLock = Utility::RecursiveMutexLock;
using ConditionVariable = Utility::ConditionVariable;
}
