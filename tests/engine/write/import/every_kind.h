// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/QualityDatabase.h"

namespace orvspc::engine::import {

struct ImportText {
  ImportKind kind;
  const char* text;
};

// Imports that put a row into every table that has identifiers, of some two, in this order into a
// new database.
inline constexpr ImportText kEveryKind[] = {
    {ImportKind::Values,
     "part,process,test,subgroup,time,value,tsno,job,lot,shift,revision,workstation,employee,gage,"
     "serial,comment,descriptor:Cavity,descriptor:Tool\n"
     "A,R,T,1,2024-01-01,1,1,J1,L1,S1,V1,W1,E1,G1,N1,odd,C1,T1\n"
     "A,R,T,1,2024-01-01,2,2,J1,L1,S1,V1,W1,E1,G2,N2,,C2,\n"
     "B,R,T,2,2024-01-02,3,1,J2,L2,S2,V2,W2,E2,G1,N3,odder,C1,T2\n"},
    {ImportKind::Values,
     "part,process,test,subgroup,time,count,size,defect,test-type\n"
     "A,Q,Looks,3,2024-01-03,2,50,D1,defects\nA,Q,Looks,4,2024-01-04,1,50,D2,\n"},
    {ImportKind::Defects, "code,name,factor,group\nD1,scratch,2,Surface\nD3,dent,3,Shape\n"},
    {ImportKind::AccCodes, "code,name,group\nA1,worn,Tools\nA2,wrong,\n"},
    {ImportKind::CacCodes, "code,name\nK1,changed\nK2,mended\n"},
    {ImportKind::StateCodes, "code,name,type\nZ1,runs,run\nZ2,stands,end\n"},
    {ImportKind::Parts, "part,factor\nA,2\nC,3\n"},
    {ImportKind::Processes,
     "process,company,division,site,department,area,production-unit\nR,O1,I1,X1,P1,Y1,U1\n"
     "Q,O2,I2,X2,P2,Y2,U2\n"},
    {ImportKind::Limits, "part,test,usl,lsl\nA,T,9,1\nB,T,8,2\n"},
    {ImportKind::ControlLimits, "part,test,mean,process\nA,T,5,\nB,T,4,R\n"},
    {ImportKind::Opportunities, "part,test,opportunities\nA,Looks,3\nB,Looks,4\n"},
    {ImportKind::Rules, "number,kind,k,set\n20,trend,5,ours nelson\n21,trend,9,ours theirs\n"},
    {ImportKind::Alarms, "part,number,on\nA,20,yes\n,21,no\n"},
    {ImportKind::Groups, "kind,group,name\npart,Both,A\npart,Both,B\nprocess,Both,R\n"},
    {ImportKind::Requirements, "process,test,kind,n,minutes\nR,T,interval,5,60\nQ,Looks,lot,2,\n"},
    {ImportKind::Events,
     "type,time,name,process,employee,acc\ngeneral,2024-01-01,power cut,R,E3,A1\n"
     "downtime,2024-01-02,strike,Q,,A3\n"},
    {ImportKind::States, "process,time,state,type\nR,2024-01-01,Z1,\nR,2024-01-02,Z3,idle\n"},
    {ImportKind::NetContents, "part,test,nominal,mavl\nA,T,100,90\nB,T,50,45\n"},
};

}  // namespace orvspc::engine::import
