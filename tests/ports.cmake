# Which tests run on the further platforms, in four parts, two at a time.
if(EMSCRIPTEN)
    # Tests of several threads, and of assertions, which end a process of their own.
    set(left_out *Thread* Twiddles.AreSharedWhileInUse *DeathTest*)
    target_sources(kal_tests PRIVATE Base/KalThreadNoneTest.cpp)
else()
    # The emulator is slow and changes what is seen of threads and of programs that start themselves anew.
    set(left_out
        AllocationFailures.LeaveTheSoundAsItIsInEveryCall Context.PlacesWhatHappensAsLate*
        Context.RaisesTheLimitAgainBlockByBlock Engine.LetsNoSingleSampleSilenceTheRoom
        Engine.FallsSilentForGoodWithinAnHourOfChangingRooms EngineDeathTest.* Threads.CarryNames*)
endif()
list(JOIN left_out : left_out)
foreach(part RANGE 3)
    add_test(NAME unit.${part} COMMAND kal_tests --gtest_filter=-${left_out})
    set_tests_properties(unit.${part} PROPERTIES ENVIRONMENT "GTEST_TOTAL_SHARDS=4;GTEST_SHARD_INDEX=${part}")
endforeach()
