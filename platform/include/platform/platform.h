/// The services that the library needs from its platform. This header declares nothing. It lists the five services and
/// the rules that apply to all of them:
///
///     platform/plume_log.h        PlumePrint: writes one record to the platform log
///     platform/parameter.h        GetParameter: reads the system's parameter store
///     platform/singleton.h        TEKLO::DelayedSingleton: one object per process, created on first use
///     platform/bounds_checked.h   sprintf_s, strcpy_s, strcat_s, memset_s
///     platform/common_event.h     TEKLO::AAFwk::Want, TEKLO::EventFwk: broadcasts
///
/// A port supplies headers with these names and declarations, and the definitions. Each header states what the library
/// promises and what the library relies on. These rules apply to all five services:
///
/// - Functions and classes have default visibility. The library calls them only through dynamic symbols, so a program
///   can replace a function by defining it.
/// - Functions throw at most std::bad_alloc. Failures are reported by the return value.
/// - Any thread may call any function, from the first static initialiser to the last static destructor.
/// - PlumePrint and sprintf_s also work in a child that was forked while other threads were calling them. A port with
///   locks registers handlers with pthread_atfork when it is loaded, with an init priority before the library's. A fork
///   then takes the lock of the file log before the port's locks. A program that defines PlumePrint itself registers
///   too late for this order: it must not lock in fork handlers.
/// - A port never includes a header of the library and never writes to its file log.
/// - A port may start threads; the library starts none. `OnReceiveEvent` may log and may call the port.
///
/// docs/porting.md shows how to build with your own port and how to check it with platform_conformance.
#pragma once
