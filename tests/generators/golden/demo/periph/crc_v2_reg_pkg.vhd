-- ###############################################################
--          periph/crc_v2_reg_pkg.vhd
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

package crc_v2_reg_pkg is

-- Archive Variables

-- Register definition
-- Register Map
-- Address bit for register decoding
constant CRC_REG_NBA: natural := 5;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

constant at_DR:                                 integer := 0;
-- logical map
subtype  l_DR is                                integer range 31 downto 0;
-- physical map
subtype  p_DR is                                integer range 31 downto 0;
subtype range_DR is                             integer range 31 downto 0;

constant at_IDR:                                integer := 4;
-- logical map
subtype  l_IDR is                               integer range 7 downto 0;
-- physical map
subtype  p_IDR is                               integer range 7 downto 0;
subtype range_IDR is                            integer range 7 downto 0;

constant at_CR:                                 integer := 8;
-- logical map
constant l_RESET:                               integer := 0;
subtype  l_POLYSIZE is                          integer range 4 downto 3;
subtype  l_REV_IN is                            integer range 6 downto 5;
constant l_REV_OUT:                             integer := 7;
-- physical map
constant p_RESET:                               integer := 0;
subtype  p_POLYSIZE is                          integer range 2 downto 1;
subtype  p_REV_IN is                            integer range 4 downto 3;
constant p_REV_OUT:                             integer := 5;
subtype range_CR is                             integer range 5 downto 0;

constant at_INIT:                               integer := 16;
-- logical map
subtype  l_INIT is                              integer range 31 downto 0;
-- physical map
subtype  p_INIT is                              integer range 31 downto 0;
subtype range_INIT is                           integer range 31 downto 0;

constant at_POL:                                integer := 20;
-- logical map
subtype  l_POL is                               integer range 31 downto 0;
-- physical map
subtype  p_POL is                               integer range 31 downto 0;
subtype range_POL is                            integer range 31 downto 0;


end crc_v2_reg_pkg;
