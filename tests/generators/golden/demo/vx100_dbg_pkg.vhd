-- ###############################################################
--          vx100_dbg_pkg.vhd
-- ###############################################################
-- Generated automatically by Ombrel
--
-- Module Description :
--
--      
--
-- ---------------------------------------------------------------
--  $HeadURL: $
--  $Author: $
--  $Date: $
--  $Revision: $
-- ---------------------------------------------------------------
-- ###############################################################
--          VHDL CODE
-- ###############################################################
-------------------------------------------------
-- Libraries
-------------------------------------------------
LIBRARY IEEE;
USE ieee.std_logic_1164.all;

package vx100_dbg_pkg is

-- Archive Variables

-- Register definition
-- Register Map
-- Address bit for register decoding
constant DAP_REG_NBA: natural := 3;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

constant at_CTRL:                               integer := 0;
-- logical map
constant l_DBGEN:                               integer := 0;
constant l_HALTREQ:                             integer := 1;
constant l_RESETREQ:                            integer := 2;
constant l_STEP:                                integer := 3;
-- physical map
constant p_DBGEN:                               integer := 0;
constant p_HALTREQ:                             integer := 1;
constant p_RESETREQ:                            integer := 2;
constant p_STEP:                                integer := 3;
subtype range_CTRL is                           integer range 3 downto 0;

constant at_STATUS:                             integer := 1;
-- logical map
constant l_HALTED:                              integer := 0;
constant l_LOCKUP:                              integer := 1;
constant l_SLEEPING:                            integer := 2;
constant l_RESET_ST:                            integer := 3;
-- physical map
constant p_HALTED:                              integer := 0;
constant p_LOCKUP:                              integer := 1;
constant p_SLEEPING:                            integer := 2;
constant p_RESET_ST:                            integer := 3;
subtype range_STATUS is                         integer range 3 downto 0;

constant at_SELECT:                             integer := 2;
-- logical map
subtype  l_APSEL is                             integer range 7 downto 4;
subtype  l_BANKSEL is                           integer range 3 downto 0;
-- physical map
subtype  p_APSEL is                             integer range 3 downto 0;
subtype  p_BANKSEL is                           integer range 7 downto 4;
subtype range_SELECT is                         integer range 7 downto 0;

-- logical map
-- physical map
subtype range_DATA is                           integer range 7 downto 0;
constant at_DATA_0:                             integer := 4;
constant at_DATA_1:                             integer := 5;
constant at_DATA_2:                             integer := 6;
constant at_DATA_3:                             integer := 7;
constant tabsize_DATA:                          integer := 4;
type tab_DATA is array (NATURAL range <>) of std_logic_vector(range_DATA);


end vx100_dbg_pkg;
